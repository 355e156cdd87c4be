#pragma once

#include "Engine/Geometry/DisplayInfo.h"
#include "Recorder/Platform/ScreenSystem.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace lumenwhirl {

/// A whole display that can be recorded.
struct CaptureDisplay {
    std::uint32_t id = 0;
    std::int64_t width = 0, height = 0;  // pixels
    DisplayInfo displayInfo;
    std::string name{};  // to show, such as "HDMI-1"; may be empty
    bool isPrimary = false;
    bool operator==(const CaptureDisplay&) const = default;
};

/// A window that can be recorded.
struct CaptureWindow {
    std::uint32_t id = 0;
    std::string appName{}, title{};  // empty when unknown or without one
    DisplayInfo displayInfo;         // of the window, as if it were a display
    std::uint32_t containingDisplayID = 0;
    bool operator==(const CaptureWindow&) const = default;
};

/// What to record.
class CaptureTarget {
public:
    CaptureTarget(CaptureDisplay display) : choice_(std::move(display)) {}
    CaptureTarget(CaptureWindow window) : choice_(std::move(window)) {}

    [[nodiscard]] const DisplayInfo& displayInfo() const noexcept {
        return std::visit([](const auto& target) -> const DisplayInfo& { return target.displayInfo; }, choice_);
    }
    /// Captures it; not started. Throws PlatformError.
    [[nodiscard]] std::unique_ptr<CaptureStream> makeStream(ScreenSystem& screen) const;

private:
    std::variant<CaptureDisplay, CaptureWindow> choice_;
};

/// What can be recorded of a desktop. Throws PlatformError.
namespace ShareableContent {

/// The least width and height of a window that is listed, in points.
inline constexpr double minimumWindowSize = 120;

/// In the system's order.
[[nodiscard]] std::vector<CaptureDisplay> displays(ScreenSystem& screen);

/// The windows on screen that are at least `minSize` points wide and high, in the system's order, except those of
/// the application `excludedApplicationID`. A window whose centre is on no display counts as on the first one.
/// Sizes are even, as video encoders need them.
[[nodiscard]] std::vector<CaptureWindow> windows(ScreenSystem& screen,
                                                 std::optional<std::string_view> excludedApplicationID,
                                                 double minSize = minimumWindowSize);

}  // namespace ShareableContent

}  // namespace lumenwhirl
