#include "Recorder/Backends/X11/X11ScreenSystem.h"

#include "Recorder/Backends/X11/Monitors.h"
#include "Recorder/Backends/X11/PictureGrabber.h"
#include "Recorder/Backends/X11/WindowList.h"
#include "Recorder/Backends/X11/X11Connection.h"
#include "Recorder/Backends/X11/X11Streams.h"

#include <utility>

namespace lumenwhirl {
namespace {

double scaleIn(const DisplayInfo& info) {
    return info.scaleFactor > 0 ? info.scaleFactor : 1;
}

class X11ScreenSystem final : public ScreenSystem {
public:
    explicit X11ScreenSystem(const std::string& displayName)
        : displayName_(displayName),
          connection_(displayName),
          extensions_(connection_.negotiateExtensions()),
          windows_(connection_, extensions_) {}

    std::vector<SystemDisplay> displays() override {
        const BrokenPipeGuard guard;
        dropEvents();
        const double scale = scaleOf(connection_);
        std::vector<SystemDisplay> displays;
        for (X11Monitor& monitor : monitorsOf(connection_, extensions_)) {
            const PixelRect& area = monitor.area;
            SystemDisplay display;
            display.id = monitor.id;
            display.name = std::move(monitor.name);
            display.bounds = {area.x / scale, area.y / scale, area.width / scale, area.height / scale};
            display.modeSize = Size{static_cast<double>(area.width), static_cast<double>(area.height)};
            display.isPrimary = monitor.isPrimary;
            displays.push_back(std::move(display));
        }
        return displays;
    }

    std::vector<SystemWindow> windows() override {
        const BrokenPipeGuard guard;
        dropEvents();
        return windows_.list(scaleOf(connection_));
    }

    std::unique_ptr<CaptureStream> captureDisplay(std::uint32_t id, const DisplayInfo& info) override {
        return makeX11DisplayCapture(displayName_, id, scaleIn(info));
    }
    std::unique_ptr<CaptureStream> captureWindow(std::uint32_t id, const DisplayInfo& info) override {
        return makeX11WindowCapture(displayName_, id, scaleIn(info));
    }
    std::unique_ptr<InputStream> input() override { return makeX11InputStream(displayName_); }
    std::unique_ptr<HotKeyGrab> hotKey() override { return makeX11HotKeyGrab(displayName_); }

    bool canCaptureScreen() override {
        const BrokenPipeGuard guard;
        return !isInWaylandSession(extensions_, monitorsOf(connection_, extensions_)) && extensions_.hasFixes &&
               extensions_.damageEvent != 0 && extensions_.hasComposite &&
               PictureGrabber::isReadable(connection_, connection_.screen().root_visual);
    }
    bool canListenToInput() override { return extensions_.hasRawInput; }

private:
    /// Every program gets the events about a changed keyboard, whether it wants them or not.
    void dropEvents() const {
        while (connection_.nextEvent()) {
        }
    }

    std::string displayName_;
    X11Connection connection_;
    X11Extensions extensions_;
    WindowList windows_;
};

}  // namespace

std::unique_ptr<ScreenSystem> connectToX11(const std::string& displayName) {
    const BrokenPipeGuard guard;
    return std::make_unique<X11ScreenSystem>(displayName);
}

}  // namespace lumenwhirl
