#include "Recorder/Backends/X11/CapturedArea.h"
#include "Recorder/Backends/X11/PictureGrabber.h"

#include <xcb/randr.h>

#include <algorithm>

namespace lumenwhirl {
namespace {

std::optional<X11Monitor> monitorWithID(std::uint32_t id, const std::vector<X11Monitor>& monitors) {
    const auto found =
        std::find_if(monitors.begin(), monitors.end(), [id](const auto& each) { return each.id == id; });
    return found != monitors.end() ? std::optional(*found) : std::nullopt;
}

class DisplayArea final : public CapturedArea {
public:
    DisplayArea(const X11Connection& connection, const X11Extensions& extensions, std::uint32_t id, double scale);

    [[nodiscard]] xcb_drawable_t damaged() const override { return connection_.root(); }
    void handle(const xcb_generic_event_t& event) override;
    [[nodiscard]] bool settle() override;
    void examine(std::uint8_t error) override;
    [[nodiscard]] std::optional<Source> source() const override {
        return Source{connection_.root(), monitor_.area};
    }
    [[nodiscard]] Point origin() const override { return {monitor_.area.x / scale_, monitor_.area.y / scale_}; }

private:
    const X11Connection& connection_;
    X11Extensions extensions_;
    double scale_;
    X11Monitor monitor_;
    bool mayHaveChanged_ = false;
};

DisplayArea::DisplayArea(const X11Connection& connection, const X11Extensions& extensions, std::uint32_t id,
                         double scale)
    : connection_(connection), extensions_(extensions), scale_(scale) {
    if (!PictureGrabber::isReadable(connection, connection.screen().root_visual))
        throw PlatformError(PlatformError::Kind::unsupported,
                            "this screen has a depth of " + std::to_string(connection.screen().root_depth) +
                                " bits and only 24 can be recorded; set the X server's depth to 24");
    // First, so that no change is missed.
    if (extensions.randrEvent != 0)
        xcb_randr_select_input(connection, connection.root(),
                               XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                                   XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE);
    const std::vector<X11Monitor> monitors = monitorsOf(connection, extensions);
    if (isInWaylandSession(extensions, monitors))
        throw PlatformError(PlatformError::Kind::unsupported,
                            "this is a Wayland session, whose screen X11 cannot see; log in to an Xorg session");
    const auto monitor = monitorWithID(id, monitors);
    if (!monitor)
        throw PlatformError(PlatformError::Kind::notFound,
                            "there is no longer a display " + std::to_string(id) + "; choose another one");
    monitor_ = *monitor;
}

void DisplayArea::handle(const xcb_generic_event_t& event) {
    const int type = event.response_type & 0x7f;
    if (extensions_.randrEvent != 0 && (type == extensions_.randrEvent + XCB_RANDR_SCREEN_CHANGE_NOTIFY ||
                                        type == extensions_.randrEvent + XCB_RANDR_NOTIFY))
        mayHaveChanged_ = true;
}

bool DisplayArea::settle() {
    if (!mayHaveChanged_) return false;
    mayHaveChanged_ = false;
    const auto monitor = monitorWithID(monitor_.id, monitorsOf(connection_, extensions_));
    if (!monitor || monitor->area.width != monitor_.area.width || monitor->area.height != monitor_.area.height)
        throw PlatformError(PlatformError::Kind::notFound,
                            "display " + monitor_.name + " was unplugged or changed its size");
    const bool hasMoved = monitor->area != monitor_.area;
    monitor_ = *monitor;
    return hasMoved;
}

void DisplayArea::examine(std::uint8_t error) {
    // A monitor set by hand changes without an event.
    mayHaveChanged_ = true;
    if (!settle())
        throw PlatformError(PlatformError::Kind::failed,
                            "display " + monitor_.name + ": no picture, " + nameOfX11Error(error));
}

}  // namespace

std::unique_ptr<CapturedArea> makeDisplayArea(const X11Connection& connection, const X11Extensions& extensions,
                                              std::uint32_t id, double scale) {
    return std::make_unique<DisplayArea>(connection, extensions, id, scale);
}

}  // namespace lumenwhirl
