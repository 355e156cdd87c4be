#pragma once

#include "Recorder/Platform/AudioSystem.h"
#include "Recorder/Platform/ScreenSystem.h"

#include <array>
#include <optional>
#include <string_view>

namespace lumenwhirl {

/// What a recording needs permission for.
enum class Permission { screenRecording, inputMonitoring, microphone };
enum class PermissionStatus { granted, denied, notDetermined };

inline constexpr std::array allPermissions{Permission::screenRecording, Permission::inputMonitoring,
                                           Permission::microphone};

/// "screenRecording"; "notDetermined".
[[nodiscard]] std::string_view nameOf(Permission permission) noexcept;
[[nodiscard]] std::string_view nameOf(PermissionStatus status) noexcept;
/// To show: "Screen Recording", and one sentence that says what it is for.
[[nodiscard]] std::string_view titleOf(Permission permission) noexcept;
[[nodiscard]] std::string_view explanationOf(Permission permission) noexcept;
/// The page of the system's settings; X11 has none.
[[nodiscard]] std::optional<std::string_view> settingsLinkOf(Permission permission) noexcept;

/// X11 and the audio servers ask nobody: what they can do, they do. So a permission is granted where the thing
/// itself exists, and not determined where it does not, as without a display.
namespace Permissions {

/// `screen`: null without a display.
[[nodiscard]] PermissionStatus status(Permission permission, ScreenSystem* screen, AudioSystem& audio);
/// Asks the user, if the system does so; then as status().
[[nodiscard]] PermissionStatus request(Permission permission, ScreenSystem* screen, AudioSystem& audio);

}  // namespace Permissions

}  // namespace lumenwhirl
