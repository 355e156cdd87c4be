#pragma once

#include "Engine/Geometry/Shapes.h"
#include "Recorder/Backends/X11/Monitors.h"
#include "Recorder/Backends/X11/X11Connection.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace lumenwhirl {

/// What a capture stream looks at: where its pixels are read from, and where it lies. At each tick the stream
/// calls ask(), takeAnswer(), handle() for each event, and settle(), in this order. Whatever can fail throws
/// PlatformError, which ends the stream.
class CapturedArea {
public:
    /// The part of a drawable that holds the picture.
    struct Source {
        xcb_drawable_t drawable = 0;
        PixelRect area;
    };

    virtual ~CapturedArea() = default;
    /// The drawable whose damage means a new picture.
    [[nodiscard]] virtual xcb_drawable_t damaged() const = 0;
    /// Whether its first picture may be empty, until its program has painted it again.
    [[nodiscard]] virtual bool isPaintedAnew() const { return false; }
    /// Sends the requests of every tick.
    virtual void ask() {}
    virtual void takeAnswer() {}
    /// Takes note of an event; must not wait for the server.
    virtual void handle(const xcb_generic_event_t& event) = 0;
    /// Follows what has changed. True if that gives a new picture.
    [[nodiscard]] virtual bool settle() = 0;
    /// Finds out why no picture could be read, given the X error. Returns if reading may be tried again.
    virtual void examine(std::uint8_t error) = 0;

    /// Empty while there is nothing to see.
    [[nodiscard]] virtual std::optional<Source> source() const = 0;
    /// Of the top-left corner, in global points.
    [[nodiscard]] virtual Point origin() const = 0;
};

/// A monitor. It counts as gone when it is unplugged, and when its size changes. `scale`: pixels a point. The
/// connection must outlive it.
[[nodiscard]] std::unique_ptr<CapturedArea> makeDisplayArea(const X11Connection& connection,
                                                            const X11Extensions& extensions, std::uint32_t id,
                                                            double scale);

/// A window's content, also while it is covered or off the screen: the server keeps it in a pixmap of its own,
/// which is replaced at each change of the window's size and whenever the window is shown again.
[[nodiscard]] std::unique_ptr<CapturedArea> makeWindowArea(const X11Connection& connection,
                                                           const X11Extensions& extensions, xcb_window_t window,
                                                           double scale);

}  // namespace lumenwhirl
