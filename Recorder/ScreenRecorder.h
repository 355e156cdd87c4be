#pragma once

#include "Recorder/Platform/AudioSystem.h"
#include "Recorder/Platform/CaptureStream.h"
#include "Recorder/Platform/HostClock.h"
#include "Recorder/RecordingFile.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace lumenwhirl {

/// Writes the frames of a capture stream, and the audio of an audio stream, into a recording's file as they
/// arrive, and fixes the recording's time 0: when the picture of the first frame was taken. For one recording.
///
/// start() and stop() belong to one thread; everything else may be asked from any thread.
class ScreenRecorder {
public:
    enum class AudioSource { none, system, mic };

    struct Result {
        double startHostTime = 0;  // host clock; 0 when nothing was recorded
        double duration = 0;       // seconds from the first to the last frame
        AudioSource audioSource = AudioSource::none;
        bool wroteAudio = false;
        bool operator==(const Result&) const = default;
    };

    /// How long the first frame waits for the first audio, in seconds, so that the file gets an audio track.
    static constexpr double audioStartGrace = 0.6;
    /// How long closing the file may take, in seconds.
    static constexpr double longestFinish = 5.0;

    /// `audio` is the stream that `audioSource` names; null with AudioSource::none. `clock` must outlive this.
    ScreenRecorder(std::unique_ptr<CaptureStream> capture, AudioSource audioSource,
                   std::unique_ptr<AudioStream> audio, std::unique_ptr<RecordingFile> file, HostClock& clock);
    ~ScreenRecorder();
    ScreenRecorder(const ScreenRecorder&) = delete;
    ScreenRecorder& operator=(const ScreenRecorder&) = delete;

    /// The captured area: its top-left corner in global points and its size in pixels. Windows move and are
    /// resized.
    struct Area {
        Point origin;
        int width = 0, height = 0;
        bool operator==(const Area&) const = default;
    };
    using AreaHandler = std::function<void(const Area&)>;
    /// Called at once with the area if it is known, then on the capture's thread whenever it changes, until it is
    /// replaced by another handler or by none. It must not call this object.
    void onAreaChange(AreaHandler handler);

    /// Begins to capture. Throws PlatformError, but not for the audio, see audioFailure().
    void start();
    /// 0 until the first frame has been accepted.
    [[nodiscard]] double recordingStartHostTime() const noexcept { return startHostTime_; }
    /// Ends the capture and closes the file. A second call returns the same.
    Result stop();

    [[nodiscard]] RecordingFile::Progress progress() const { return file_->progress(); }
    /// The peak of the latest audio block, linear; 0 without audio.
    [[nodiscard]] float audioLevel() const noexcept { return audioLevel_; }
    /// Why no more frames come, as a line of text: the window was closed.
    [[nodiscard]] std::optional<std::string> endReason() const;
    /// Why there is no audio, or no more of it, as a line of text: its device was unplugged.
    [[nodiscard]] std::optional<std::string> audioFailure() const;
    /// Why no more can be written, as a line of text: the disk is full.
    [[nodiscard]] std::optional<std::string> failure() const { return file_->failure(); }

private:
    void handleFrame(const CapturedFrame& frame);
    void handleAudio(const AudioBlock& block);
    [[nodiscard]] bool begin(const CapturedFrame& frame, double now);
    void noteEnd(const std::string& reason);
    void noteAudioEnd(const std::string& reason);

    const AudioSource audioSource_;
    HostClock& clock_;
    const std::unique_ptr<RecordingFile> file_;
    std::atomic<double> startHostTime_ = 0;
    std::atomic<float> audioLevel_ = 0;

    mutable std::mutex mutex_;  // guards the fields below
    bool sessionStarted_ = false;
    std::optional<AudioFormat> audioFormat_;  // known once audio has arrived
    bool hasAudioTrack_ = false;
    double firstVideoHostTime_ = 0;  // of the first complete frame, while waiting for audio
    double firstPTS_ = 0, lastPTS_ = 0;
    bool wroteAudio_ = false;
    std::optional<Area> area_;
    AreaHandler areaChanged_;
    std::optional<std::string> endReason_, audioFailure_;

    std::optional<Result> result_;  // once stopped

    // Last, so that they end before what their handlers use goes away.
    const std::unique_ptr<AudioStream> audio_;
    const std::unique_ptr<CaptureStream> capture_;
};

}  // namespace lumenwhirl
