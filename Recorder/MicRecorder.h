#pragma once

#include "Recorder/Platform/AudioSystem.h"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace lumenwhirl {

class AudioWriter;

/// Records a microphone into an M4A of its own: AAC, one channel, 48 kHz, 128 kbit/s. Its time 0 is
/// `startHostTime`, whenever the microphone begins to deliver. While it grows, all but the last half second plays,
/// whatever happens to this process.
///
/// start() and finish() are for one thread. The sound arrives on a thread of the microphone's and is encoded on
/// another.
class MicRecorder {
public:
    /// `deviceID`: of the sound system's inputs; without one, or when it is not connected, the default input.
    /// `sound` must outlive this.
    MicRecorder(std::optional<std::string> deviceID, std::filesystem::path outputURL, AudioSystem& audio,
                double startHostTime);
    /// As finish().
    ~MicRecorder();
    MicRecorder(const MicRecorder&) = delete;
    MicRecorder& operator=(const MicRecorder&) = delete;

    /// True when recording has begun. Else nothing was written, and failure() says why. Replaces an old file.
    /// Once.
    [[nodiscard]] bool start();
    /// Stops recording and returns once the file is closed. May be called again, and whatever start() said.
    void finish() noexcept;

    /// The greatest magnitude in the last 0.1 s of sound, 1 being full scale. Any thread.
    [[nodiscard]] float level() const noexcept { return level_; }
    /// Why recording could not begin or ended early, in one line: the microphone was unplugged, the disk is full.
    /// What was written until then plays. Any thread.
    [[nodiscard]] std::optional<std::string> failure() const;

private:
    struct Block {
        double time = 0;  // host clock
        std::vector<float> samples;
    };
    struct Peak {
        double end = 0;  // host clock
        float magnitude = 0;
    };

    void open();
    void take(const AudioBlock& block);
    void measureLevel(const AudioBlock& block);
    void close(const std::optional<std::string>& problem) noexcept;
    void encode(AudioWriter& writer);
    [[nodiscard]] bool waitForBlocks(std::deque<Block>& blocks);

    const std::optional<std::string> deviceID_;
    const std::filesystem::path outputURL_;
    AudioSystem& audio_;
    const double startHostTime_;
    std::unique_ptr<AudioStream> stream_;
    std::deque<Peak> peaks_;  // of the last 0.1 s; of the stream's thread
    std::atomic<float> level_ = 0;

    mutable std::mutex mutex_;  // guards the fields up to changed_
    std::deque<Block> blocks_;
    std::size_t waitingFrames_ = 0;  // in blocks_
    bool isClosed_ = false;          // no more blocks are taken
    std::optional<std::string> failure_;
    std::condition_variable changed_;
    std::thread encoder_;
};

}  // namespace lumenwhirl
