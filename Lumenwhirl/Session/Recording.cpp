#include "Lumenwhirl/Session/Recording.h"

#include "Lumenwhirl/Session/Packages.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <string_view>

namespace lumenwhirl::Session {
namespace {

namespace fs = std::filesystem;

std::optional<fs::path> folderIn(const char* variable) {
    const char* const value = std::getenv(variable);
    if (value == nullptr || *value != '/') return std::nullopt;
    return fs::path(value);
}

/// Services and containers may not say where it is; then the account does.
std::optional<fs::path> homeFolder() {
    if (auto home = folderIn("HOME")) return home;
    passwd account{};
    passwd* found = nullptr;
    std::array<char, 16384> text{};
    getpwuid_r(getuid(), &account, text.data(), text.size(), &found);
    if (found == nullptr || *account.pw_dir != '/') return std::nullopt;
    return fs::path(account.pw_dir);
}

/// From the line XDG_VIDEOS_DIR="$HOME/…" or ="/…", see xdg-user-dirs.
std::optional<fs::path> videosFolder(const fs::path& home) {
    constexpr std::string_view key = "XDG_VIDEOS_DIR=\"", homeVariable = "$HOME";
    std::ifstream file(folderIn("XDG_CONFIG_HOME").value_or(home / ".config") / "user-dirs.dirs");
    for (std::string line; std::getline(file, line);) {
        std::string_view value = line;
        if (!value.starts_with(key)) continue;
        value.remove_prefix(key.size());
        value = value.substr(0, value.find('"'));
        if (value.starts_with('/')) return fs::path(value);
        if (!value.starts_with(homeVariable)) continue;
        value.remove_prefix(std::min(value.find_first_not_of('/', homeVariable.size()), value.size()));
        if (!value.empty()) return home / value;
    }
    return std::nullopt;
}

/// A recording without a name that begins in the same second as another is its "… 2".
LumenwhirlPackage start(RecordingController& controller, const RecordingRequest& request,
                        const std::stop_token& stop) {
    const fs::path folder = request.folder.empty() ? defaultRecordingFolder() : request.folder;
    if (request.name == "." || request.name == "..")
        throw Error("\"" + request.name + "\" is not a name; choose another");
    const std::string name = request.name.empty() ? defaultRecordingName(std::time(nullptr)) : request.name;
    for (int number = 1;; ++number) {
        try {
            return controller.start(request.options, number == 1 ? name : name + " " + std::to_string(number),
                                    folder, stop);
        } catch (const RecordingError& error) {
            if (error.kind() != RecordingError::Kind::nameTaken || !request.name.empty()) throw;
        }
    }
}

}  // namespace

fs::path defaultRecordingFolder() {
    constexpr std::string_view name = "Lumenwhirl";
    const std::optional<fs::path> home = homeFolder();
    if (!home) return name;
    return videosFolder(*home).value_or(*home / "Videos") / name;
}

std::string defaultRecordingName(std::time_t time) {
    std::tm local{};
    localtime_r(&time, &local);
    std::array<char, 64> text{};
    std::strftime(text.data(), text.size(), "Lumenwhirl %Y-%m-%d at %H.%M.%S", &local);
    return text.data();
}

CaptureTarget primaryDisplay(ScreenSystem& screen) {
    const std::vector<CaptureDisplay> displays = ShareableContent::displays(screen);
    if (displays.empty()) throw Error("this desktop has no display");
    const auto primary = std::ranges::find_if(displays, &CaptureDisplay::isPrimary);
    return primary != displays.end() ? *primary : displays.front();
}

Recording::Recording(ScreenSystem& screen, AudioSystem& audio, HostClock& clock, const RecordingRequest& request,
                     const std::stop_token& stop)
    : controller_(screen, audio, clock),
      package_(start(controller_, request, stop)),
      notices_(controller_.notices()) {
    if (request.onStopKey) stopKey_ = GlobalHotKey::stopRecording(screen, request.onStopKey);
}

std::optional<std::string> Recording::audioNotice() const {
    const std::optional<std::string> failure = controller_.audioFailure();
    return failure ? std::optional("the recording continues without audio: " + *failure) : std::nullopt;
}

Recording::Result Recording::stop() {
    stopKey_.reset();
    const std::optional<std::string> reason = controller_.endReason(), failure = controller_.failure();
    const RecordingController::Progress progress = controller_.progress();
    Result result{.package = controller_.stop(), .notices = controller_.notices(), .progress = progress};
    if (reason) result.notices.push_back("the recording has ended: " + *reason);
    if (failure) result.failure = *failure + "; the recording ends there";
    return result;
}

}  // namespace lumenwhirl::Session
