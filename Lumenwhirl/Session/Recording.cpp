#include "Lumenwhirl/Session/Recording.h"

#include "Lumenwhirl/Session/Packages.h"

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

/// Starts the controller unless the package exists: a second recording of that name would replace the first.
LumenwhirlPackage start(RecordingController& controller, const RecordingRequest& request,
                        const std::stop_token& stop) {
    const fs::path folder = request.folder.empty() ? defaultRecordingFolder() : request.folder;
    const std::string name = request.name.empty() ? defaultRecordingName(std::time(nullptr)) : request.name;
    if (name == "." || name == "..") throw Error("\"" + name + "\" is not a name; choose another");
    const fs::path package = LumenwhirlPackage::pathFor(name, folder);
    if (std::error_code error; fs::exists(package, error))
        throw Error(package.string() + ": already exists; choose another name");
    return controller.start(request.options, name, folder, stop);
}

}  // namespace

fs::path defaultRecordingFolder() {
    constexpr std::string_view name = "Lumenwhirl";
    const std::optional<fs::path> home = folderIn("HOME");
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
