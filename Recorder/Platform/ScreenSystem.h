#pragma once

#include "Engine/Geometry/DisplayInfo.h"
#include "Engine/Geometry/Rect.h"
#include "Engine/Geometry/Size.h"
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
    std::string name{};              // for people, such as "HDMI-1"; may be empty
    Rect bounds{};                   // global points
    std::optional<Size> modeSize{};  // pixels of its current mode; empty where it has none
    bool isPrimary = false;
    bool operator==(const SystemDisplay&) const = default;
};

/// A window as the system lists it.
struct SystemWindow {
    std::uint32_t id = 0;
    Rect frame{};  // of what would be recorded, in global points: the content, without the window manager's frame
    bool isOnScreen = true;         // false while minimised or on another desktop
    std::string applicationName{};  // empty when unknown
    std::string applicationID{};    // what tells applications apart; empty when unknown
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
    /// Every window of an application; in the server's order, the lowest first.
    [[nodiscard]] virtual std::vector<SystemWindow> windows() = 0;

    /// Of the display, or the window, with that identifier. `info` is what the target was listed with; a window
    /// that is resized later is delivered in its new size. Not started yet.
    [[nodiscard]] virtual std::unique_ptr<CaptureStream> captureDisplay(std::uint32_t id,
                                                                        const DisplayInfo& info) = 0;
    [[nodiscard]] virtual std::unique_ptr<CaptureStream> captureWindow(std::uint32_t id,
                                                                       const DisplayInfo& info) = 0;
    [[nodiscard]] virtual std::unique_ptr<InputStream> input() = 0;
    [[nodiscard]] virtual std::unique_ptr<HotKeyGrab> hotKey() = 0;

    /// Whether pictures can be taken, and input listened to, at all.
    [[nodiscard]] virtual bool canCaptureScreen() = 0;
    [[nodiscard]] virtual bool canListenToInput() = 0;
};

}  // namespace lumenwhirl
