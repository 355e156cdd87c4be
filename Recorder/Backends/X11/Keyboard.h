#pragma once

#include "Recorder/Backends/X11/X11Connection.h"
#include "Recorder/Platform/InputStream.h"

#include <xkbcommon/xkbcommon.h>

#include <bitset>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumenwhirl {

/// A keyboard layout of the server, as it is at one time. One thread.
class KeyboardLayout {
public:
    struct Press {
        std::int64_t keyCode = 0;  // virtual
        std::string characters;
        Modifiers modifiers;
    };

    /// The current one. From then on the connection gets no MappingNotify when the layout changes: the server
    /// sends that only to clients that do not speak the extension XKB. Throws PlatformError.
    explicit KeyboardLayout(const X11Connection& connection);

    /// A press of the key with that X key code. `state`: modifiers and group as in the key's event. Empty for a
    /// modifier.
    [[nodiscard]] std::optional<Press> press(std::uint8_t keyCode, std::uint16_t state);

private:
    void findModifiers(const X11Connection& connection);
    [[nodiscard]] xkb_keysym_t symbolAt(xkb_keycode_t keyCode, xkb_layout_index_t layout,
                                        xkb_level_index_t level) const;
    [[nodiscard]] std::optional<xkb_keysym_t> latinSymbol(xkb_keycode_t keyCode, bool hasShift) const;
    [[nodiscard]] bool canMean(std::uint8_t keyCode, xkb_keysym_t left, xkb_keysym_t right) const;

    template <auto release>
    struct Released {
        template <class T>
        void operator()(T* handle) const noexcept {
            release(handle);
        }
    };
    std::unique_ptr<xkb_keymap, Released<&xkb_keymap_unref>> keymap_;
    std::unique_ptr<xkb_state, Released<&xkb_state_unref>> state_;
    std::uint16_t commandMask_ = 0, optionMask_ = 0;  // in an event's state
    std::bitset<4> isLatin_;                          // which layouts have Latin letters
};

/// Turns presses and releases of keys into key events: follows the server's modifiers, group, layout and key
/// repetition. One thread; the connection must outlive it.
class Keyboard {
public:
    /// Subscribes the connection to all changes, so that they arrive in order with the keys. Throws PlatformError.
    explicit Keyboard(const X11Connection& connection);

    /// Takes an event of the connection; those that are not about the keyboard are ignored.
    void take(const xcb_generic_event_t& event);

    // Each appends the resulting events. Times are of the host clock.
    void press(std::uint8_t keyCode, double time, std::vector<InputEvent>& events);
    void release(std::uint8_t keyCode, double time, std::vector<InputEvent>& events);
    /// The repetitions of the held key up to that time.
    void repeatUntil(double time, std::vector<InputEvent>& events);

private:
    void readControls();
    void add(std::uint8_t keyCode, double time, bool isRepeat, std::vector<InputEvent>& events);

    const X11Connection& connection_;
    std::uint8_t firstEvent_ = 0;
    KeyboardLayout layout_;
    bool isLayoutStale_ = false;
    std::uint16_t state_ = 0;    // modifiers and group, as in the core protocol's events
    std::bitset<256> keysDown_;  // by X key code, as the next

    std::bitset<256> repeatingKeys_;
    double repeatDelay_ = 0, repeatInterval_ = 0;  // seconds
    std::optional<std::uint8_t> held_;
    double nextRepeat_ = 0;  // host clock
};

}  // namespace lumenwhirl
