#pragma once

#include "Recorder/Backends/X11/X11Connection.h"
#include "Recorder/Platform/InputStream.h"

#include <xkbcommon/xkbcommon.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace lumenwhirl {

/// What the keys of a server mean at one time. One thread.
class KeyboardLayout {
public:
    struct Press {
        std::int64_t keyCode = 0;  // virtual
        std::string characters;
        Modifiers modifiers;
    };

    /// What they mean now. From then on the connection is not told any more when that changes: it speaks the
    /// extension XKB, and only others are. Throws PlatformError.
    explicit KeyboardLayout(const X11Connection& connection);

    /// A press of that X key code. `state`: modifiers and group as in the key's event. Empty for a modifier.
    [[nodiscard]] std::optional<Press> press(std::uint8_t keyCode, std::uint16_t state);

private:
    void findModifiers(const X11Connection& connection);
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
    std::uint16_t commandMask_ = 0, optionMask_ = 0;  // of the event's state
};

}  // namespace lumenwhirl
