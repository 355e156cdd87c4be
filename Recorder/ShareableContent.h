#pragma once

#include "Recorder/CaptureTarget.h"

#include <optional>
#include <string_view>
#include <vector>

/// What can be recorded of a desktop. Throws what the desktop's listing throws (PlatformError).
namespace lumenwhirl::ShareableContent {

/// Points; the least width and height of a window that is worth listing.
inline constexpr double minimumWindowSize = 120;

/// In the system's order.
[[nodiscard]] std::vector<CaptureDisplay> displays(ScreenSystem& screen);

/// Windows on screen of at least `minSize` points either way, in the system's order, but for those of the
/// application `excludedApplicationID`. One whose centre lies on no display counts as the first display's. Sizes
/// are even, as video encoders need them.
[[nodiscard]] std::vector<CaptureWindow> windows(ScreenSystem& screen,
                                                 std::optional<std::string_view> excludedApplicationID,
                                                 double minSize = minimumWindowSize);

}  // namespace lumenwhirl::ShareableContent
