#pragma once

#include "Recorder/Backends/X11/CapturedArea.h"
#include "Recorder/Backends/X11/WindowList.h"

#include <cstdint>
#include <vector>

namespace lumenwhirl {

/// A window's content, also while it is covered or off the screen: the server keeps it apart, in a pixmap, which
/// is another one after each change of the window's size and whenever it is shown again.
class WindowArea final : public CapturedArea {
public:
    /// `scale`: pixels a point.
    WindowArea(const X11Connection& connection, const X11Extensions& extensions, xcb_window_t window,
               double scale);

    [[nodiscard]] xcb_drawable_t damaged() const override { return window_; }
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
    xcb_pixmap_t pixmap_ = 0;                       // 0 until it is shown
    int borderWidth_ = 0, width_ = 0, height_ = 0;  // of the pixmap: the border is around the window's own size
    WindowInsets insets_;
    int x_ = 0, y_ = 0;  // of the window's own area, on the screen
    xcb_translate_coordinates_cookie_t positionCookie_{};
    bool isGone_ = false, isOutdated_ = true;  // outdated: the pixmap or the insets
};

}  // namespace lumenwhirl
