#pragma once

#include "Recorder/GlobalHotKey.h"
#include "Recorder/RecordingController.h"
#include "Recorder/ShareableContent.h"

#include <ctime>
#include <filesystem>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace lumenwhirl::Session {

/// Where recordings go unless the user says otherwise: "Lumenwhirl" in the desktop's folder for videos (see
/// user-dirs.dirs), or else in ~/Videos; in the current folder if the account has no home. It need not exist yet.
[[nodiscard]] std::filesystem::path defaultRecordingFolder();
/// "Lumenwhirl 2024-05-31 at 17.02.09", in local time.
[[nodiscard]] std::string defaultRecordingName(std::time_t time);

/// The primary display. Throws Error if the desktop has none at all.
[[nodiscard]] CaptureTarget primaryDisplay(ScreenSystem& screen);

struct RecordingRequest {
    RecordingOptions options;
    std::string name{};                 // date and time if empty, with a number where that is taken
    std::filesystem::path folder{};     // defaultRecordingFolder() if empty
    std::function<void()> onStopKey{};  // the user pressed the stop key; called on another thread
};

/// One recording, from its start to its package. A recording that is destroyed without a stop() is left as a crash
/// would leave it.
///
/// The constructor and stop() block and belong to one thread; everything else may be called on any.
class Recording {
public:
    /// Starts to record; returns once the first frame has arrived. The systems must outlive this. Throws Error if
    /// the name is none, and whatever RecordingController::start() throws.
    Recording(ScreenSystem& screen, AudioSystem& audio, HostClock& clock, const RecordingRequest& request,
              const std::stop_token& stop);

    [[nodiscard]] const LumenwhirlPackage& package() const noexcept { return package_; }
    /// What is missing from the recording since its start, one line each: a microphone that cannot be used.
    [[nodiscard]] const std::vector<std::string>& notices() const noexcept { return notices_; }
    [[nodiscard]] RecordingController::Progress progress() const { return controller_.progress(); }
    /// A line for the user once the audio has ended; the rest goes on.
    [[nodiscard]] std::optional<std::string> audioNotice() const;
    /// Nothing more will be recorded (the window was closed, the disk is full): time to call stop().
    [[nodiscard]] bool hasEnded() const { return controller_.endReason() || controller_.failure(); }

    struct Result {
        LumenwhirlPackage package;
        /// What the user should know, one line each: why the recording ended by itself, what is missing.
        std::vector<std::string> notices{};
        /// Why it could not go on, as one line, if that was a failure. What was recorded until then is kept.
        std::optional<std::string> failure{};
        RecordingController::Progress progress;  // at the end
    };
    /// Ends the recording and completes its package. Once only. Throws as RecordingController::stop().
    Result stop();

private:
    RecordingController controller_;
    LumenwhirlPackage package_;
    std::vector<std::string> notices_;
    std::optional<GlobalHotKey> stopKey_;
};

}  // namespace lumenwhirl::Session
