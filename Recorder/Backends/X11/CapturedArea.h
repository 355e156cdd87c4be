#pragma once

#include "Engine/Geometry/Point.h"
#include "Recorder/Backends/X11/Monitors.h"
#include "Recorder/Backends/X11/X11Connection.h"

#include <optional>

namespace lumenwhirl {

/// What a capture stream looks at: where its pictures are read, and where it lies. The stream calls in this order,
/// each tick: ask(), takeAnswer(), handle() for each event, settle(). Whatever can fail throws PlatformError,
/// which ends the stream.
class CapturedArea {
public:
    /// The part of a drawable that holds the picture.
    struct Source {
        xcb_drawable_t drawable = 0;
        PixelRect area;
    };

    virtual ~CapturedArea() = default;
    /// What tells of changes of the picture.
    [[nodiscard]] virtual xcb_drawable_t damaged() const = 0;
    /// Sends the questions of every tick.
    virtual void ask() {}
    virtual void takeAnswer() {}
    /// Takes note of an event; it must not ask the server.
    virtual void handle(const xcb_generic_event_t& event) = 0;
    /// Follows what has changed. True if there is another picture now.
    [[nodiscard]] virtual bool settle() = 0;
    /// Finds out why no picture could be read, with that X error. Returns if it may be tried again.
    virtual void examine(std::uint8_t error) = 0;

    /// Empty while there is nothing to see.
    [[nodiscard]] virtual std::optional<Source> source() const = 0;
    /// Of the top-left corner, in global points.
    [[nodiscard]] virtual Point origin() const = 0;
};

}  // namespace lumenwhirl
