#pragma once

#include "Recorder/Backends/X11/X11Connection.h"
#include "Recorder/Platform/ScreenSystem.h"

#include <optional>
#include <vector>

namespace lumenwhirl {

/// Part of a window, in pixels, that is no content: the shadow that programs with frames of their own draw inside
/// of their windows.
struct WindowInsets {
    int left = 0, right = 0, top = 0, bottom = 0;
    /// From the values of _GTK_FRAME_EXTENTS, for a window of that size: always leaves something of it.
    [[nodiscard]] static WindowInsets from(const std::vector<std::uint32_t>& values, int width, int height);
};

/// Lists the windows of applications: as a window manager knows them, else by looking for what says which
/// application it belongs to.
class WindowList {
public:
    WindowList(const X11Connection& connection, const X11Extensions& extensions);
    /// The lowest first; without the desktop's background and its panels. `scale`: pixels a point. Windows that go
    /// away meanwhile are left out. Three round trips with a window manager.
    [[nodiscard]] std::vector<SystemWindow> list(double scale) const;

private:
    [[nodiscard]] bool isManaged(const std::vector<std::uint32_t>& check) const;
    void findApplications(xcb_window_t parent, int depth, std::vector<xcb_window_t>& found) const;
    struct Questions;
    [[nodiscard]] Questions ask(xcb_window_t window) const;
    [[nodiscard]] std::optional<SystemWindow> take(const Questions& questions, double scale,
                                                   std::optional<std::uint32_t> currentDesktop) const;

    const X11Connection& connection_;
    bool knowsProcesses_;
    std::vector<xcb_atom_t> atoms_;
};

}  // namespace lumenwhirl
