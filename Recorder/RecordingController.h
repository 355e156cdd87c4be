#pragma once

#include "Media/EncodingSettings.h"
#include "Media/VideoWriter.h"
#include "Recorder/Package/LumenwhirlPackage.h"
#include "Recorder/Platform/AudioSystem.h"
#include "Recorder/Platform/HostClock.h"
#include "Recorder/RecordingFile.h"
#include "Recorder/ShareableContent.h"

#include <atomic>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <vector>

namespace lumenwhirl {

struct RecordingOptions {
    CaptureTarget target;
    bool captureMic = false;
    std::optional<std::string> micDeviceID{};  // of a MicDevice; without one, the default input
    bool captureSystemAudio = false;           // ignored when the microphone is recorded
    VideoCodec codec = VideoCodec::hevc;
    EncoderChoice encoder = EncoderChoice::automatic;
};

class RecordingError : public std::runtime_error {
public:
    enum class Kind {
        notRecording,  // stop() without a recording
        noFrames,      // no frame arrived in time
        cancelled,     // before the recording had begun
        nameTaken,     // something of the package's name exists
    };
    RecordingError(Kind kind, const std::string& problem) : std::runtime_error(problem), kind_(kind) {}
    [[nodiscard]] Kind kind() const noexcept { return kind_; }

private:
    Kind kind_;
};

/// Runs one recording at a time from start to stop: video and audio go into a package, then the microphone and the
/// input, whose times count from the first frame; at the end the package is completed. What a crash leaves behind,
/// PackageCompletion::recover completes.
///
/// start() and stop() block; everything else may be asked from any thread.
class RecordingController {
public:
    enum class State { idle, recording, finishing };

    /// How long the first frame may take, in seconds.
    static constexpr double longestWait = 2.0;

    /// All of them must outlive this.
    RecordingController(ScreenSystem& screen, AudioSystem& audio, HostClock& clock);
    ~RecordingController();
    RecordingController(const RecordingController&) = delete;
    RecordingController& operator=(const RecordingController&) = delete;

    /// While idle only. Creates a package of its own and begins. Throws LumenwhirlPackage::Error, PlatformError,
    /// MediaError, RecordingError, std::system_error, and then removes what it has created. Does without audio
    /// that is not available, see notices().
    LumenwhirlPackage start(const RecordingOptions& options, const std::string& packageName,
                            const std::filesystem::path& folder, const std::stop_token& stop);
    /// Ends the recording and completes its package. Of several threads that call it at once, one does so and the
    /// others throw. Throws RecordingError, and LumenwhirlPackage::Error when the documents cannot be written:
    /// then the recording is kept, and completed when it is next opened.
    LumenwhirlPackage stop();

    [[nodiscard]] State state() const noexcept { return state_; }

    /// Of the running recording, to show.
    struct Progress {
        double seconds = 0;  // since the first frame
        RecordingFile::Progress file;
        float audioLevel = 0;  // the latest peak, linear
    };
    [[nodiscard]] Progress progress() const;
    /// Why the recording is over and should be stopped, as a line of text: the window was closed.
    [[nodiscard]] std::optional<std::string> endReason() const;
    /// Why no more can be written and it should be stopped, as a line of text: the disk is full.
    [[nodiscard]] std::optional<std::string> failure() const;
    /// Why no more audio is recorded, as a line of text: the microphone was unplugged. The rest goes on.
    [[nodiscard]] std::optional<std::string> audioFailure() const;
    /// What the latest start() or stop() did without, as lines of text; for their thread.
    [[nodiscard]] const std::vector<std::string>& notices() const noexcept { return notices_; }

private:
    struct Session;
    void open(const RecordingOptions& options, Session& session);
    void awaitFirstFrame(Session& session, const std::stop_token& stop);
    void startMicrophone(Session& session, const RecordingOptions& options);
    void startInput(Session& session);

    ScreenSystem& screen_;
    AudioSystem& audio_;
    HostClock& clock_;
    std::atomic<State> state_ = State::idle;
    std::vector<std::string> notices_;
    mutable std::mutex mutex_;          // guards session_
    std::unique_ptr<Session> session_;  // while recording
};

}  // namespace lumenwhirl
