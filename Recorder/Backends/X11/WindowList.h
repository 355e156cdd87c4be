#pragma once

#include "Recorder/Backends/X11/X11Connection.h"
#include "Recorder/Platform/ScreenSystem.h"

#include <optional>
#include <vector>

namespace lumenwhirl {

/// The margin of a window, in pixels, that is not content: the shadow that programs with frames of their own draw
/// inside their windows.
struct WindowInsets {
    int left = 0, right = 0, top = 0, bottom = 0;
    /// From the values of _GTK_FRAME_EXTENTS, for a window of that size; always leaves some content.
    [[nodiscard]] static WindowInsets from(const std::vector<std::uint32_t>& values, int width, int height);
};

/// Lists the windows of applications: those the window manager lists or, without one, those that name their
/// application.
class WindowList {
public:
    WindowList(const X11Connection& connection, const X11Extensions& extensions);
    /// From the lowest up, without the desktop's background and panels. `scale`: pixels a point. Windows that
    /// vanish meanwhile are left out. Three round trips with a window manager.
    [[nodiscard]] std::vector<SystemWindow> list(double scale) const;

private:
    [[nodiscard]] bool isManaged(const std::vector<std::uint32_t>& check) const;
    void findApplications(xcb_window_t parent, int depth, std::vector<xcb_window_t>& found) const;
    struct Questions;
    [[nodiscard]] Questions ask(xcb_window_t window) const;
    [[nodiscard]] std::optional<SystemWindow> take(const Questions& questions, double scale,
                                                   std::optional<std::uint32_t> shownDesktop) const;

    const X11Connection& connection_;
    bool knowsProcesses_;
    std::vector<xcb_atom_t> atoms_;
};

}  // namespace lumenwhirl
