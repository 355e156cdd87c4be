#pragma once

#include "Recorder/Backends/X11/KeyboardLayout.h"
#include "Recorder/Backends/X11/X11Connection.h"
#include "Recorder/Platform/InputStream.h"

#include <bitset>
#include <cstdint>
#include <optional>
#include <vector>

namespace lumenwhirl {

/// Makes of presses and releases of keys what they mean: follows the server's modifiers, group, layout and
/// repetition. One thread; the connection must outlive it.
class Keyboard {
public:
    /// Has the connection told of all that changes, in line with the keys. Throws PlatformError.
    explicit Keyboard(const X11Connection& connection);

    /// Takes an event of the connection if it is about the keyboard; else nothing happens.
    void take(const xcb_generic_event_t& event);

    // Each adds to `events` what comes of it. Times are of the host clock.
    void press(std::uint8_t keyCode, double time, std::vector<InputEvent>& events);
    void release(std::uint8_t keyCode, double time, std::vector<InputEvent>& events);
    /// The key that is held, so far.
    void repeatUntil(double time, std::vector<InputEvent>& events);

private:
    void readControls();
    void add(std::uint8_t keyCode, double time, bool isRepeat, std::vector<InputEvent>& events);

    const X11Connection& connection_;
    std::uint8_t firstEvent_ = 0;
    KeyboardLayout layout_;
    bool isLayoutStale_ = false;
    std::uint16_t state_ = 0;    // modifiers and group, as in the core protocol's events
    std::bitset<256> keysDown_;  // by X key code, as below

    std::bitset<256> repeatingKeys_;
    double repeatDelay_ = 0, repeatInterval_ = 0;  // seconds
    std::optional<std::uint8_t> held_;
    double nextRepeat_ = 0;  // host clock
};

}  // namespace lumenwhirl
