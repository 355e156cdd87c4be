#pragma once

#include "Engine/Geometry/DisplayInfo.h"
#include "Engine/Geometry/Shapes.h"
#include "Recorder/Platform/CaptureStream.h"
#include "Recorder/Platform/InputStream.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumenwhirl {

/// A display as the system lists it.
struct SystemDisplay {
    std::uint32_t id = 0;
    std::string name{};              // to show, such as "HDMI-1"; may be empty
    Rect bounds{};                   // global points
    std::optional<Size> modeSize{};  // pixels of its current mode; empty if it has none
    bool isPrimary = false;
    bool operator==(const SystemDisplay&) const = default;
};

/// A window as the system lists it.
struct SystemWindow {
    std::uint32_t id = 0;
    Rect frame{};  // what would be recorded, in global points: the content, without the window manager's frame
    bool isOnScreen = true;         // false while minimised or on another desktop
    std::string applicationName{};  // empty when unknown
    std::string applicationID{};    // unique to the application; empty when unknown
    std::string title{};
    bool operator==(const SystemWindow&) const = default;
};

/// A desktop: what can be recorded of it, and how. Any thread; every call may take a round trip to the display
/// server. Everything throws PlatformError, of kind notReachable once the server is gone.
class ScreenSystem {
public:
    virtual ~ScreenSystem() = default;

    /// In the server's order.
    [[nodiscard]] virtual std::vector<SystemDisplay> displays() = 0;
    /// The windows of all applications in the server's order, from the lowest up.
    [[nodiscard]] virtual std::vector<SystemWindow> windows() = 0;

    /// Captures the display, or the window, with that identifier; not started. `info` is what the target was
    /// listed with; a window that is resized later is delivered in its new size.
    [[nodiscard]] virtual std::unique_ptr<CaptureStream> captureDisplay(std::uint32_t id,
                                                                        const DisplayInfo& info) = 0;
    [[nodiscard]] virtual std::unique_ptr<CaptureStream> captureWindow(std::uint32_t id,
                                                                       const DisplayInfo& info) = 0;
    [[nodiscard]] virtual std::unique_ptr<InputStream> input() = 0;
    [[nodiscard]] virtual std::unique_ptr<HotKeyGrab> hotKey() = 0;

    /// Whether pictures can be taken at all, and input listened to.
    [[nodiscard]] virtual bool canCaptureScreen() = 0;
    [[nodiscard]] virtual bool canListenToInput() = 0;
};

}  // namespace lumenwhirl
