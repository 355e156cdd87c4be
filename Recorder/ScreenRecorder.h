#pragma once

#include "Recorder/Platform/AudioStream.h"
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

/// Writes the pictures of a capture stream, and the sound of a sound stream, into a recording's file as they
/// arrive, and fixes the recording's time 0: the moment the first picture is accepted. For one recording.
///
/// start() and stop() belong to one thread; everything else may be asked from any.
class ScreenRecorder {
public:
    enum class AudioSource { none, system, mic };

    struct Result {
        double startHostTime = 0;  // host clock; 0 when nothing was recorded
        double duration = 0;       // seconds from the first to the last picture
        AudioSource audioSource = AudioSource::none;
        bool wroteAudio = false;
        bool operator==(const Result&) const = default;
    };

    /// How long the first picture waits for the first sound, in seconds, so that the file gets a sound track.
    static constexpr double audioStartGrace = 0.6;
    /// How long the file may take to be closed, in seconds.
    static constexpr double longestFinish = 5.0;

    /// `sound` is what `audioSource` names; null with AudioSource::none. `clock` must outlive this.
    ScreenRecorder(std::unique_ptr<CaptureStream> capture, AudioSource audioSource,
                   std::unique_ptr<AudioStream> audio, std::unique_ptr<RecordingFile> file, HostClock& clock);
    ~ScreenRecorder();
    ScreenRecorder(const ScreenRecorder&) = delete;
    ScreenRecorder& operator=(const ScreenRecorder&) = delete;

    /// Where the captured area's top-left corner is, in global points, and how many pixels it has. Windows move
    /// and are resized.
    struct Area {
        Point origin;
        int width = 0, height = 0;
        bool operator==(const Area&) const = default;
    };
    using AreaHandler = std::function<void(const Area&)>;
    /// Called at once with the area if it is known, and on the capture's thread whenever it changes, until another
    /// handler, or none, takes its place. It must not call back.
    void onAreaChange(AreaHandler handler);

    /// Begins to capture. Throws PlatformError; not for the sound, see audioFailure().
    void start();
    /// 0 until the first picture has been accepted.
    [[nodiscard]] double recordingStartHostTime() const noexcept { return startHostTime_; }
    /// Ends the capture and closes the file. A second call gives the same.
    Result stop();

    [[nodiscard]] RecordingFile::Progress progress() const { return file_->progress(); }
    /// The peak of the latest sound, linear, 0 without sound.
    [[nodiscard]] float audioLevel() const noexcept { return audioLevel_; }
    /// Why no more pictures come, in a line for people: the window was closed.
    [[nodiscard]] std::optional<std::string> endReason() const;
    /// Why there is no sound, or no more of it, in a line for people: its device was unplugged.
    [[nodiscard]] std::optional<std::string> audioFailure() const;
    /// Why no more can be written, in a line for people: the disk is full.
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

    mutable std::mutex mutex_;  // guards the fields below, and puts the calls of the file one after the other
    bool sessionStarted_ = false;
    std::optional<AudioFormat> audioFormat_;  // known once sound has arrived
    bool hasAudioTrack_ = false;
    double firstVideoHostTime_ = 0;  // of the first complete picture, while waiting for sound
    double firstPTS_ = 0, lastPTS_ = 0;
    bool wroteAudio_ = false;
    std::optional<Area> area_;
    AreaHandler areaChanged_;
    std::optional<std::string> endReason_, audioFailure_;

    std::optional<Result> result_;  // of stop()

    // Last, so that they have ended before what their handlers use goes away.
    const std::unique_ptr<AudioStream> audio_;
    const std::unique_ptr<CaptureStream> capture_;
};

}  // namespace lumenwhirl
