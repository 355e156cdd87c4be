#pragma once

#include "Engine/Geometry/DisplayInfo.h"
#include "Recorder/Platform/ScreenSystem.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <variant>

namespace lumenwhirl {

/// A whole display that can be recorded.
struct CaptureDisplay {
    std::uint32_t id = 0;
    std::int64_t width = 0, height = 0;  // pixels
    DisplayInfo displayInfo;
    std::string name{};  // for people, such as "HDMI-1"; may be empty
    bool isPrimary = false;
    bool operator==(const CaptureDisplay&) const = default;
};

/// A window that can be recorded.
struct CaptureWindow {
    std::uint32_t id = 0;
    std::string appName{}, title{};  // empty when unknown, when it has none
    DisplayInfo displayInfo;         // of the window, as if it were a display
    std::uint32_t containingDisplayID = 0;
    bool operator==(const CaptureWindow&) const = default;
};

/// What is to be recorded.
class CaptureTarget {
public:
    CaptureTarget(CaptureDisplay display) : choice_(std::move(display)) {}
    CaptureTarget(CaptureWindow window) : choice_(std::move(window)) {}

    [[nodiscard]] const DisplayInfo& displayInfo() const noexcept {
        return std::visit([](const auto& target) -> const DisplayInfo& { return target.displayInfo; }, choice_);
    }
    /// Its pictures; not started yet. Throws PlatformError.
    [[nodiscard]] std::unique_ptr<CaptureStream> makeStream(ScreenSystem& screen) const;

private:
    std::variant<CaptureDisplay, CaptureWindow> choice_;
};

}  // namespace lumenwhirl
