#pragma once

#include "Engine/Documents/EventLog.h"
#include "Engine/Geometry/Shapes.h"

#include <cstdint>
#include <functional>
#include <string>

namespace lumenwhirl {

/// The modifier keys that are held. Super, the key with the window on it, is the command key, and Alt the option
/// key.
struct Modifiers {
    bool command = false, shift = false, option = false, control = false, function = false;
    bool operator==(const Modifiers&) const = default;
};

/// One thing the user did.
struct InputEvent {
    enum class Kind {
        moved,  // also without motion: where the pointer has come to rest, or still is when something else happens
        buttonChanged,
        scrolled,
        keyDown,
    };
    Kind kind = Kind::moved;
    double time = 0;   // host clock, when the system handled it
    Point position{};  // of the pointer, in global points; unused for keys

    MouseButton button = MouseButton::left;  // buttonChanged
    ClickPhase phase = ClickPhase::down;     // buttonChanged

    double dx = 0, dy = 0;  // scrolled: whole lines; left and up are positive

    std::int64_t keyCode = 0;  // keyDown: the event log's virtual key code
    // keyDown: UTF-8, what the key types with its layout and modifiers, for a shortcut in Latin letters; the name
    // of a key that types nothing, such as "Insert"; empty for one that has a virtual key code by its meaning.
    std::string characters{};
    Modifiers modifiers{};  // keyDown
    bool isRepeat = false;  // keyDown: the key has been held since an earlier event
};

/// Everything the user does on the whole desktop. Only listens: never alters, swallows or delays an event.
class InputStream {
public:
    using Handler = std::function<void(const InputEvent&)>;

    virtual ~InputStream() = default;
    /// Once. The handler is called on the stream's own thread, in the order of the events. Throws PlatformError.
    virtual void start(Handler handler) = 0;
    /// Ends after delivering all that happened before the call. No handler runs after it returns. Not from a
    /// handler. May be called again, and before start().
    virtual void stop() noexcept = 0;
};

/// A key with modifiers that no other program gets while this lives.
class HotKeyGrab {
public:
    virtual ~HotKeyGrab() = default;
    /// Once. `keyCode`: a virtual key code, as in the event log. `pressed` is called on the grab's own thread at
    /// every press, but not for repeats. False when another program has the key or the system has no such grabs.
    [[nodiscard]] virtual bool take(std::int64_t keyCode, const Modifiers& modifiers,
                                    std::function<void()> pressed) = 0;
    /// `pressed` is not called after it returns. Not from `pressed`. May be called again, and before take().
    virtual void release() noexcept = 0;
};

}  // namespace lumenwhirl
