#pragma once

#include "Media/AudioTimeline.h"
#include "Media/Encoders.h"
#include "Media/LiveWriter.h"
#include "Media/VideoFrame.h"
#include "Media/VideoWriter.h"
#include "Recorder/CapturedFrameConverter.h"
#include "Recorder/RecordingFile.h"
#include "Recorder/RecordingQueue.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace lumenwhirl {

/// A recording in an MP4 that plays up to the last half second whatever happens: H.264 or HEVC of constant
/// quality, AAC if there is sound. Encodes on a thread of its own. Only the file's owner may read it.
class MovieFile final : public RecordingFile {
public:
    struct Settings {
        int width = 0, height = 0;  // pixels of the target; odd ones are rounded up, see CapturedFrameConverter
        VideoCodec codec = VideoCodec::hevc;  // H.264 takes a fifth of the time
        EncoderChoice encoder = EncoderChoice::automatic;
        std::function<void()> beforePicture;  // for tests: called on the encoder's thread, which it may hold up
    };
    /// Of the pictures' times: ticks a second.
    static constexpr int timescale = 1'000'000;
    /// Pictures that wait for the encoder, beyond which they are dropped. A key frame of HEVC takes as long as 13
    /// of 60 a second, on one core.
    static constexpr std::size_t queuedPictures = 16;

    /// Opens the encoder, which may take a second where graphics cards are tried, and touches no file. Throws
    /// MediaError: unsupported, encoderFailed.
    MovieFile(std::filesystem::path file, Settings settings);
    /// Without finish(), what was flushed stays.
    ~MovieFile() override;
    MovieFile(const MovieFile&) = delete;
    MovieFile& operator=(const MovieFile&) = delete;

    [[nodiscard]] bool begin(double startTime, const std::optional<AudioFormat>& audio) override;
    /// Pictures before time 0 count as of time 0. One that is not later than the one before is shown a tick after
    /// it.
    bool appendVideo(const CapturedFrame& frame) override;
    bool appendAudio(const AudioBlock& block) override;
    void finish(double seconds) override;
    [[nodiscard]] Progress progress() const override;
    [[nodiscard]] std::optional<std::string> failure() const override;

private:
    using Clock = std::chrono::steady_clock;

    [[nodiscard]] VideoFrame& unusedFrame();
    void run();
    void encodeAll();
    void encode(const RecordingQueue::Work& work);
    void flush();
    void fail(const std::string& problem);

    const std::filesystem::path path_;
    const Settings settings_;

    // Of the thread that gives pictures and sound.
    bool hasBegun_ = false;
    double startTime_ = 0;
    std::optional<AudioFormat> audio_;
    std::int64_t lastPts_ = -1;
    CapturedFrameConverter converter_;
    std::vector<VideoFrame> pool_;

    // Of the encoder's thread, once it runs.
    std::optional<LiveWriter> writer_;
    std::optional<AudioTimeline> timeline_;
    std::int64_t writtenPts_ = 0, flushedPts_ = 0;
    Clock::time_point flushed_;  // when
    bool hasUnflushed_ = false;

    // Of both.
    RecordingQueue queue_;
    std::atomic<Clock::time_point> finishBy_ = Clock::time_point::max();
    std::atomic<std::int64_t> framesWritten_ = 0, framesDropped_ = 0;
    std::atomic<std::uintmax_t> bytes_ = 0;
    mutable std::mutex mutex_;  // guards failure_
    std::optional<std::string> failure_;

    std::jthread encoder_;  // last: it is joined before what it uses goes away
};

}  // namespace lumenwhirl
