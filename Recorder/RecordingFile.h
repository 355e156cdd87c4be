#pragma once

#include "Media/AudioTimeline.h"
#include "Media/EncodingSettings.h"
#include "Media/LiveWriter.h"
#include "Media/VideoWriter.h"
#include "Pixels/PicturePool.h"
#include "Recorder/CapturedFrameConverter.h"
#include "Recorder/Platform/AudioSystem.h"
#include "Recorder/Platform/CaptureStream.h"
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

/// The file that a recording is written to while it runs: an MP4 with H.264 or HEVC of constant quality, and AAC
/// if there is audio. Whatever happens to this process, it plays up to its last half second. Only its owner may
/// read it.
///
/// Encodes on a thread of its own. Between begin() and finish(), video may be appended on one thread while audio
/// is on another. Times are seconds of the host clock; the file's own time 0 is given to begin().
class RecordingFile {
public:
    struct Settings {
        int width = 0, height = 0;  // pixels of the target; odd ones are rounded up, see CapturedFrameConverter
        VideoCodec codec = VideoCodec::hevc;  // H.264 takes a fifth of the time
        EncoderChoice encoder = EncoderChoice::automatic;
        std::function<void()> beforeFrame{};  // for tests: called on the encoder's thread, which it may hold up
    };
    /// A snapshot to show while recording.
    struct Progress {
        std::int64_t framesWritten = 0;  // given to the encoder
        std::int64_t framesDropped = 0;  // because the encoder or the capture was busy
        std::uintmax_t bytes = 0;        // of the file so far
    };
    /// Ticks a second of the frames' times.
    static constexpr int timescale = 1'000'000;
    /// Frames that wait for the encoder; beyond that they are dropped. A key frame of HEVC takes as long as 13 of
    /// 60 frames a second, on one core.
    static constexpr std::size_t queuedFrames = 16;

    /// Opens the encoder, which may take a second where graphics cards are tried, and does not touch the file.
    /// Throws MediaError: unsupported, encoderFailed.
    RecordingFile(std::filesystem::path file, Settings settings);
    /// Without finish(), keeps what was flushed.
    ~RecordingFile();
    RecordingFile(const RecordingFile&) = delete;
    RecordingFile& operator=(const RecordingFile&) = delete;

    /// Fixes time 0 and the tracks: video, and audio if it has a format. Takes a few milliseconds at most. False
    /// when it failed, see failure(); it may be tried again.
    [[nodiscard]] bool begin(double startTime, const std::optional<AudioFormat>& audio);
    /// A complete frame, in the order of time; copied before the call returns. A frame before time 0 counts as at
    /// time 0, and one that is not later than the last is shown one tick after it. False when it was dropped
    /// because the encoder is behind, or because the file can take no more (failure()).
    bool appendVideo(const CapturedFrame& frame);
    /// Audio in the format given to begin(), in the order of time; copied before the call returns. It is placed by
    /// its time: what lies before time 0 is cut, gaps become silence, and a device's clock that drifts is
    /// followed. False when it was dropped.
    bool appendAudio(const AudioBlock& block);
    /// Encodes what has been taken, for at most `seconds`, and closes the file, which plays in any case. Never
    /// throws: what went wrong is in failure().
    void finish(double seconds);

    /// Any thread, at any time.
    [[nodiscard]] Progress progress() const;
    /// Why the file can take no more, such as a full disk, in one line. Any thread, at any time.
    [[nodiscard]] std::optional<std::string> failure() const;
    /// Why no more audio is written, in one line. Any thread, at any time.
    [[nodiscard]] std::optional<std::string> audioFailure() const;

private:
    using Clock = std::chrono::steady_clock;

    void run();
    void encodeAll();
    void encode(const RecordingQueue::Work& work);
    void encodeAudio(const std::function<void(AudioTimeline&)>& encode);
    void flush();
    void fail(const std::string& problem);

    const std::filesystem::path path_;
    const Settings settings_;

    // Set by begin().
    bool hasBegun_ = false;
    double startTime_ = 0;
    std::optional<AudioFormat> audio_;

    // Used by the thread that appends video.
    std::int64_t lastPts_ = -1;
    CapturedFrameConverter converter_;
    PicturePool pool_;

    // Used by the encoder's thread, once it runs.
    std::optional<LiveWriter> writer_;
    std::optional<AudioTimeline> timeline_;
    std::int64_t writtenPts_ = 0, flushedPts_ = 0;
    Clock::time_point flushed_;  // when
    bool hasUnflushed_ = false;

    // Shared.
    RecordingQueue queue_;
    std::atomic<Clock::time_point> finishBy_ = Clock::time_point::max();
    std::atomic<std::int64_t> framesWritten_ = 0, framesDropped_ = 0;
    std::atomic<std::uintmax_t> bytes_ = 0;
    mutable std::mutex mutex_;  // guards the two below
    std::optional<std::string> failure_, audioFailure_;

    std::jthread encoder_;  // last: it is joined before what it uses goes away
};

}  // namespace lumenwhirl
