#pragma once

#include "Recorder/Backends/X11/StopEvent.h"
#include "Recorder/Backends/X11/X11Connection.h"
#include "Recorder/Platform/InputStream.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace lumenwhirl {

/// Passive grabs on the root: of the key in its place on the keyboard and of the one that types its symbol, where
/// a layout has that elsewhere; each with and without CapsLock and NumLock. Follows the keyboard map.
class X11HotKeyGrab final : public HotKeyGrab {
public:
    explicit X11HotKeyGrab(std::string displayName);
    ~X11HotKeyGrab() override;

    [[nodiscard]] bool take(std::int64_t keyCode, const Modifiers& modifiers,
                            std::function<void()> pressed) override;
    void release() noexcept override;

private:
    /// X key codes and modifier masks.
    struct Keys {
        std::vector<xcb_keycode_t> codes;
        std::vector<std::uint16_t> masks;
        bool operator==(const Keys&) const = default;
    };
    [[nodiscard]] Keys wantedKeys() const;
    void grab(const Keys& keys);
    [[nodiscard]] bool tryToGrab(const Keys& keys, xcb_keycode_t code) const;
    void ungrab(const Keys& keys, xcb_keycode_t code) const;
    [[nodiscard]] bool isOurs(xcb_keycode_t code) const;
    void run();

    std::string displayName_;
    std::int64_t keyCode_ = 0;
    Modifiers modifiers_;
    std::function<void()> pressed_;
    std::unique_ptr<X11Connection> connection_;
    Keys wanted_;                         // of the keyboard map as it was last read
    std::vector<xcb_keycode_t> grabbed_;  // those of the wanted that no other program has
    StopEvent stop_;
    std::jthread thread_;
};

}  // namespace lumenwhirl
