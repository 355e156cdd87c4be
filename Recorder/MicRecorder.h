#pragma once

#include "Recorder/Platform/AudioSystem.h"
#include "Recorder/RecordingQueue.h"

#include <atomic>
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

/// The microphones that can be recorded. Throws PlatformError, so that a missing audio server differs from one
/// without microphones.
namespace AudioDevices {

/// In the system's order.
[[nodiscard]] std::vector<MicDevice> inputs(AudioSystem& audio);
[[nodiscard]] std::optional<std::string> defaultInputID(AudioSystem& audio);
/// The device to record when `wanted` was chosen: that one while it is connected, else the default input. Empty
/// where there is none.
[[nodiscard]] std::optional<std::string> inputIDFor(const std::optional<std::string>& wanted, AudioSystem& audio);

}  // namespace AudioDevices

/// Records a microphone into an M4A of its own: AAC, one channel, 48 kHz, 128 kbit/s. Its time 0 is
/// `startHostTime`, whenever the microphone begins to deliver. Whatever happens to this process, the growing file
/// plays up to its last half second.
///
/// start() and finish() belong to one thread. Audio arrives on the microphone's thread and is encoded on another.
class MicRecorder {
public:
    /// `deviceID`: one of the audio system's inputs; without one, or when it is not connected, the default input.
    /// `audio` must outlive this.
    MicRecorder(std::optional<std::string> deviceID, std::filesystem::path outputURL, AudioSystem& audio,
                double startHostTime);
    /// As finish().
    ~MicRecorder();
    MicRecorder(const MicRecorder&) = delete;
    MicRecorder& operator=(const MicRecorder&) = delete;

    /// Once. False when recording could not begin: nothing was written, and failure() says why.
    [[nodiscard]] bool start();
    /// Stops recording and returns once the file is closed. May be called again, and also when start() failed.
    void finish() noexcept;

    /// The device that was asked for, and once start() has returned true the one that is recorded.
    [[nodiscard]] const std::optional<std::string>& deviceID() const noexcept { return deviceID_; }
    /// The peak of the last 0.1 s of audio, where 1 is full scale. Any thread.
    [[nodiscard]] float level() const noexcept { return level_; }
    /// Why recording could not begin or has ended early, in one line: the microphone was unplugged, the disk is
    /// full. What was written before plays. Any thread.
    [[nodiscard]] std::optional<std::string> failure() const;

private:
    struct Peak {
        double end = 0;  // host clock
        float magnitude = 0;
    };

    void open();
    void take(const AudioBlock& block);
    void measureLevel(const AudioBlock& block);
    void close(const std::optional<std::string>& problem) noexcept;
    void encode(AudioWriter& writer);

    std::optional<std::string> deviceID_;
    const std::filesystem::path outputURL_;
    AudioSystem& audio_;
    const double startHostTime_;
    std::unique_ptr<AudioStream> stream_;
    std::deque<Peak> peaks_;  // of the last 0.1 s; used by the stream's thread
    std::atomic<float> level_ = 0;

    RecordingQueue queue_;
    mutable std::mutex mutex_;  // guards failure_
    std::optional<std::string> failure_;
    std::thread encoder_;
};

}  // namespace lumenwhirl
