#include "Recorder/Backends/X11/CapturedArea.h"
#include "Recorder/Backends/X11/PictureGrabber.h"
#include "Recorder/Backends/X11/Properties.h"
#include "Recorder/Backends/X11/WindowList.h"

#include <xcb/composite.h>

#include <vector>

namespace lumenwhirl {
namespace {

[[noreturn]] void failAsGone() {
    throw PlatformError(PlatformError::Kind::notFound, "the window was closed");
}

class WindowArea final : public CapturedArea {
public:
    WindowArea(const X11Connection& connection, const X11Extensions& extensions, xcb_window_t window,
               double scale);

    [[nodiscard]] xcb_drawable_t damaged() const override { return window_; }
    // Where it is covered, the server has thrown its picture away; now that it keeps it, it asks for it again.
    [[nodiscard]] bool isPaintedAnew() const override { return true; }
    void ask() override;
    void takeAnswer() override;
    void handle(const xcb_generic_event_t& event) override;
    [[nodiscard]] bool settle() override;
    void examine(std::uint8_t error) override;
    [[nodiscard]] std::optional<Source> source() const override;
    [[nodiscard]] Point origin() const override;

private:
    [[nodiscard]] bool takePixmap();

    const X11Connection& connection_;
    xcb_window_t window_;
    double scale_;
    xcb_atom_t frameExtents_ = 0;
    xcb_pixmap_t pixmap_ = 0;                       // 0 until the window is shown
    int borderWidth_ = 0, width_ = 0, height_ = 0;  // of the pixmap; the border surrounds the window's own size
    WindowInsets insets_;
    int x_ = 0, y_ = 0;  // of the window's own area, on the screen
    xcb_translate_coordinates_cookie_t positionCookie_{};
    bool isGone_ = false, isOutdated_ = true;  // outdated: the pixmap or the insets
};

WindowArea::WindowArea(const X11Connection& connection, const X11Extensions& extensions, xcb_window_t window,
                       double scale)
    : connection_(connection), window_(window), scale_(scale) {
    if (!extensions.hasComposite)
        throw PlatformError(
            PlatformError::Kind::unsupported,
            "this X server lacks the extension Composite, without which windows cannot be recorded; record a display");
    frameExtents_ = connection.atoms({"_GTK_FRAME_EXTENTS"}).front();
    const auto attributes =
        connection.reply(&xcb_get_window_attributes_reply, xcb_get_window_attributes(connection, window));
    if (!attributes) failAsGone();
    if (!PictureGrabber::isReadable(connection, attributes->visual))
        throw PlatformError(
            PlatformError::Kind::unsupported,
            "this window does not have a depth of 24 bits and cannot be recorded; record a display");
    // First, so that no change is missed. A window inside a hidden one is shown without being mapped itself: only
    // its visibility reports that.
    const std::uint32_t events =
        XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_VISIBILITY_CHANGE | XCB_EVENT_MASK_PROPERTY_CHANGE;
    const auto selection = xcb_change_window_attributes_checked(connection, window, XCB_CW_EVENT_MASK, &events);
    const auto redirection =
        xcb_composite_redirect_window_checked(connection, window, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    const bool isThere = connection.errorOf(selection) == 0;
    const std::uint8_t error = connection.errorOf(redirection);
    if (!isThere) failAsGone();
    if (error != 0)
        throw PlatformError(PlatformError::Kind::failed,
                            "the X server does not redirect this window: " + nameOfX11Error(error));
}

void WindowArea::ask() {
    positionCookie_ = xcb_translate_coordinates(connection_, window_, connection_.root(), 0, 0);
}

void WindowArea::takeAnswer() {
    if (const auto position = connection_.reply(&xcb_translate_coordinates_reply, positionCookie_)) {
        x_ = position->dst_x;
        y_ = position->dst_y;
    } else {
        isGone_ = true;
    }
}

void WindowArea::handle(const xcb_generic_event_t& event) {
    switch (event.response_type & 0x7f) {
        case XCB_DESTROY_NOTIFY:
            isGone_ |= reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window == window_;
            break;
        case XCB_CONFIGURE_NOTIFY: {
            const auto& configured = reinterpret_cast<const xcb_configure_notify_event_t&>(event);
            // Sent for every move, too.
            isOutdated_ |= configured.width + 2 * configured.border_width != width_ + 2 * borderWidth_ ||
                           configured.height + 2 * configured.border_width != height_ + 2 * borderWidth_;
            break;
        }
        case XCB_PROPERTY_NOTIFY:
            isOutdated_ |= reinterpret_cast<const xcb_property_notify_event_t&>(event).atom == frameExtents_;
            break;
        case XCB_MAP_NOTIFY:
        case XCB_VISIBILITY_NOTIFY:
            isOutdated_ = true;
            break;
        default:
            break;
    }
}

bool WindowArea::settle() {
    if (isGone_) failAsGone();
    if (!isOutdated_) return false;
    isOutdated_ = false;
    return takePixmap();
}

/// Names the pixmap that the window has now. False while the window is hidden: the former pixmap keeps its last
/// picture, and an event follows when it is shown again.
bool WindowArea::takePixmap() {
    const xcb_pixmap_t pixmap = connection_.newID();
    const auto naming = xcb_composite_name_window_pixmap_checked(connection_, window_, pixmap);
    const auto pixmapCookie = xcb_get_geometry(connection_, pixmap);
    const auto windowCookie = xcb_get_geometry(connection_, window_);
    const auto extentsCookie = askForProperty(connection_, window_, frameExtents_, XCB_ATOM_CARDINAL);
    const bool isNamed = connection_.errorOf(naming) == 0;
    const auto size = connection_.reply(&xcb_get_geometry_reply, pixmapCookie);
    const auto window = connection_.reply(&xcb_get_geometry_reply, windowCookie);
    const std::vector<std::uint32_t> extents = numbersIn(connection_, extentsCookie);
    // A border that has just grown can be wider than the whole pixmap; an event about it follows.
    const bool hasContent =
        size && window && size->width > 2 * window->border_width && size->height > 2 * window->border_width;
    if (!isNamed || !hasContent) {
        if (isNamed) xcb_free_pixmap(connection_, pixmap);
        return false;
    }
    if (pixmap_ != 0) xcb_free_pixmap(connection_, pixmap_);
    pixmap_ = pixmap;
    borderWidth_ = window->border_width;
    width_ = size->width - 2 * borderWidth_;
    height_ = size->height - 2 * borderWidth_;
    insets_ = WindowInsets::from(extents, width_, height_);
    return true;
}

void WindowArea::examine(std::uint8_t error) {
    if (error == XCB_ALLOC || !takePixmap())
        throw PlatformError(PlatformError::Kind::failed, "no picture of the window: " + nameOfX11Error(error));
}

std::optional<CapturedArea::Source> WindowArea::source() const {
    if (pixmap_ == 0) return std::nullopt;
    return Source{pixmap_,
                  {borderWidth_ + insets_.left, borderWidth_ + insets_.top, width_ - insets_.left - insets_.right,
                   height_ - insets_.top - insets_.bottom}};
}

Point WindowArea::origin() const {
    return {(x_ + insets_.left) / scale_, (y_ + insets_.top) / scale_};
}

}  // namespace

std::unique_ptr<CapturedArea> makeWindowArea(const X11Connection& connection, const X11Extensions& extensions,
                                             xcb_window_t window, double scale) {
    return std::make_unique<WindowArea>(connection, extensions, window, scale);
}

}  // namespace lumenwhirl
