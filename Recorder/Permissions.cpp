#include "Recorder/Permissions.h"

#include "Recorder/Platform/PlatformError.h"

namespace lumenwhirl {
namespace {

PermissionStatus statusOfScreen(ScreenSystem* screen) {
    return screen && screen->canCaptureScreen() ? PermissionStatus::granted : PermissionStatus::notDetermined;
}

PermissionStatus statusOfInput(ScreenSystem* screen) {
    if (!screen) return PermissionStatus::notDetermined;
    // The server's owner has switched off what input is listened to by.
    return screen->canListenToInput() ? PermissionStatus::granted : PermissionStatus::denied;
}

PermissionStatus statusOfMicrophone(SoundSystem& sound) {
    (void)sound.inputs();  // throws without a server
    return PermissionStatus::granted;
}

}  // namespace

std::string_view nameOf(Permission permission) noexcept {
    switch (permission) {
        case Permission::screenRecording:
            return "screenRecording";
        case Permission::inputMonitoring:
            return "inputMonitoring";
        case Permission::microphone:
            return "microphone";
    }
    return {};
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
    switch (permission) {
        case Permission::screenRecording:
            return "Screen Recording";
        case Permission::inputMonitoring:
            return "Input Monitoring";
        case Permission::microphone:
            return "Microphone";
    }
    return {};
}

std::string_view explanationOf(Permission permission) noexcept {
    switch (permission) {
        case Permission::screenRecording:
            return "Capture your display at native resolution.";
        case Permission::inputMonitoring:
            return "Log cursor movement, clicks and keystrokes for synthetic re-rendering.";
        case Permission::microphone:
            return "Record your voice as a separate audio track.";
    }
    return {};
}

std::optional<std::string_view> settingsLinkOf(Permission) noexcept {
    return std::nullopt;
}

namespace Permissions {

PermissionStatus status(Permission permission, ScreenSystem* screen, SoundSystem& sound) {
    try {
        switch (permission) {
            case Permission::screenRecording:
                return statusOfScreen(screen);
            case Permission::inputMonitoring:
                return statusOfInput(screen);
            case Permission::microphone:
                return statusOfMicrophone(sound);
        }
    } catch (const PlatformError&) {  // the server is gone or was never there: nobody has said no
    }
    return PermissionStatus::notDetermined;
}

PermissionStatus request(Permission permission, ScreenSystem* screen, SoundSystem& sound) {
    return status(permission, screen, sound);
}

}  // namespace Permissions

}  // namespace lumenwhirl
