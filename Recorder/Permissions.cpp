#include "Recorder/Permissions.h"

#include "Recorder/Platform/PlatformError.h"

#include <algorithm>
#include <array>

namespace lumenwhirl {
namespace {

struct Texts {
    Permission permission;
    std::string_view name, title, explanation;
};
constexpr std::array texts{
    Texts{Permission::screenRecording, "screenRecording", "Screen Recording",
          "Capture your display at native resolution."},
    Texts{Permission::inputMonitoring, "inputMonitoring", "Input Monitoring",
          "Log cursor movement, clicks and keystrokes for synthetic re-rendering."},
    Texts{Permission::microphone, "microphone", "Microphone", "Record your voice as a separate audio track."},
};

constexpr const Texts& textsOf(Permission permission) {
    return *std::find_if(texts.begin(), texts.end(),
                         [&](const Texts& each) { return each.permission == permission; });
}

PermissionStatus statusOfScreen(ScreenSystem* screen) {
    return screen && screen->canCaptureScreen() ? PermissionStatus::granted : PermissionStatus::notDetermined;
}

PermissionStatus statusOfInput(ScreenSystem* screen) {
    if (!screen) return PermissionStatus::notDetermined;
    // The server's owner has switched off the extension that input is read with.
    return screen->canListenToInput() ? PermissionStatus::granted : PermissionStatus::denied;
}

PermissionStatus statusOfMicrophone(AudioSystem& audio) {
    (void)audio.inputs();  // throws without a server
    return PermissionStatus::granted;
}

}  // namespace

std::string_view nameOf(Permission permission) noexcept {
    return textsOf(permission).name;
}

std::string_view nameOf(PermissionStatus status) noexcept {
    switch (status) {
        case PermissionStatus::granted:
            return "granted";
        case PermissionStatus::denied:
            return "denied";
        case PermissionStatus::notDetermined:
            return "notDetermined";
    }
    return {};
}

std::string_view titleOf(Permission permission) noexcept {
    return textsOf(permission).title;
}

std::string_view explanationOf(Permission permission) noexcept {
    return textsOf(permission).explanation;
}

std::optional<std::string_view> settingsLinkOf(Permission) noexcept {
    return std::nullopt;
}

namespace Permissions {

PermissionStatus status(Permission permission, ScreenSystem* screen, AudioSystem& audio) {
    try {
        switch (permission) {
            case Permission::screenRecording:
                return statusOfScreen(screen);
            case Permission::inputMonitoring:
                return statusOfInput(screen);
            case Permission::microphone:
                return statusOfMicrophone(audio);
        }
    } catch (const PlatformError&) {  // there is no server, so nobody has refused
    }
    return PermissionStatus::notDetermined;
}

PermissionStatus request(Permission permission, ScreenSystem* screen, AudioSystem& audio) {
    return status(permission, screen, audio);
}

}  // namespace Permissions

}  // namespace lumenwhirl
