#pragma once

#include "Engine/Documents/EventLog.h"
#include "Engine/Geometry/DisplayInfo.h"
#include "Engine/Geometry/Shapes.h"
#include "Recorder/Platform/InputStream.h"

#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace lumenwhirl {

class EventJournal;

/// Logs the user's input while a recording runs: cursor, clicks, wheel and keys, in captured pixels and seconds of
/// the recording. Only listens. One per recording, made after its first frame.
///
/// The time of an event is when the system handled it, not when it arrived here, so a busy machine shifts nothing.
class EventTap {
public:
    /// Each sorted by `t`.
    struct Events {
        std::vector<CursorSample> cursor;
        std::vector<ClickEvent> clicks;
        std::vector<ScrollEvent> scroll;
        std::vector<KeyEvent> keys;
        bool operator==(const Events&) const = default;
    };
    /// A key with exactly these modifiers.
    struct Shortcut {
        std::int64_t keyCode = 0;  // virtual key code
        Modifiers modifiers;
    };

    /// `startHostTime`: time 0; earlier events are dropped. `moveHz`: the most cursor samples a second, or 0 for
    /// all. `stream`: null if the desktop has none. `journal`: outlives the tap; may be null. `ignored`: left out
    /// of the log, such as the key that stops the recording.
    EventTap(const DisplayInfo& display, double startHostTime, double moveHz, std::unique_ptr<InputStream> stream,
             EventJournal* journal, const std::optional<Shortcut>& ignored = {});
    ~EventTap();
    EventTap(const EventTap&) = delete;
    EventTap& operator=(const EventTap&) = delete;

    /// Once. False when input cannot be listened to; stop() then returns nothing.
    [[nodiscard]] bool start();
    /// What was logged, including all that happened before the call. A second call returns the same.
    Events stop();

    /// The captured area from now on: its corner in global points, and the scale from the display's pixels to the
    /// file's. A window may be moved and resized while it is recorded. Any thread.
    void setArea(Point origin, double scale);

private:
    void handle(const InputEvent& event);
    void keepMove(double t, Point position);
    [[nodiscard]] bool isIgnored(const InputEvent& event) const;
    [[nodiscard]] Point pixels(Point globalPoint) const;
    template <class Event>
    void keep(std::vector<Event>& events, Event event);

    const double scaleFactor_;  // the display's own
    const double startHostTime_;
    const double moveMinInterval_;  // seconds
    EventJournal* const journal_;
    const std::optional<Shortcut> ignored_;

    // Used by the stream's thread only.
    double lastT_ = 0;
    double lastMoveT_ = -std::numeric_limits<double>::infinity();

    mutable std::mutex mutex_;
    DisplayInfo display_;  // under mutex_
    Events events_;        // under mutex_

    const std::unique_ptr<InputStream> stream_;  // last, as its thread uses all the others
};

}  // namespace lumenwhirl
