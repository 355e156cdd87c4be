#include "Recorder/Backends/X11/KeyTable.h"
#include "Recorder/Backends/X11/X11Connection.h"
#include "Recorder/Backends/X11/X11Streams.h"
#include "Recorder/Backends/X11/X11Thread.h"

#include <xcb/xcb_keysyms.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace lumenwhirl {
namespace {

constexpr xcb_keysym_t numLock = 0xff7f, altLeft = 0xffe9, altRight = 0xffea, superLeft = 0xffeb,
                       superRight = 0xffec;

struct SymbolsFreed {
    void operator()(xcb_key_symbols_t* symbols) const noexcept { xcb_key_symbols_free(symbols); }
};
using SymbolsHandle = std::unique_ptr<xcb_key_symbols_t, SymbolsFreed>;

/// The modifiers that keys with one of the symbols set; `usual` if there are no such keys.
std::uint16_t modifierWith(std::initializer_list<xcb_keysym_t> symbols, std::uint16_t usual,
                           const xcb_get_modifier_mapping_reply_t& mapping, xcb_key_symbols_t* table) {
    const auto codes = listIn(mapping, xcb_get_modifier_mapping_keycodes(&mapping),
                              std::size_t{8} * mapping.keycodes_per_modifier);
    std::uint16_t mask = 0;
    for (std::size_t i = 0; i < codes.size(); ++i)
        for (const xcb_keysym_t symbol : symbols)
            if (codes[i] != 0 && xcb_key_symbols_get_keysym(table, codes[i], 0) == symbol)
                mask = static_cast<std::uint16_t>(mask | 1u << (i / mapping.keycodes_per_modifier));
    return mask != 0 ? mask : usual;
}

class X11HotKeyGrab final : public HotKeyGrab {
public:
    explicit X11HotKeyGrab(std::string displayName) : displayName_(std::move(displayName)) {}
    ~X11HotKeyGrab() override { release(); }

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
    Keys wanted_;                         // under the keyboard map as it was last read
    std::vector<xcb_keycode_t> grabbed_;  // those of the wanted ones that no other program has
    X11Thread thread_;
};

bool X11HotKeyGrab::take(std::int64_t keyCode, const Modifiers& modifiers, std::function<void()> pressed) {
    const BrokenPipeGuard guard;
    keyCode_ = keyCode;
    modifiers_ = modifiers;
    pressed_ = std::move(pressed);
    if (modifiers.function) return false;  // X has no such modifier
    connection_ = std::make_unique<X11Connection>(displayName_);
    grab(wantedKeys());
    if (grabbed_.empty()) {
        connection_.reset();
        return false;
    }
    thread_.start([this] { run(); });
    return true;
}

void X11HotKeyGrab::release() noexcept {
    thread_.stop(connection_.get(), 0);  // nothing it still waits for matters
    connection_.reset();                 // the server gives the keys back
}

X11HotKeyGrab::Keys X11HotKeyGrab::wantedKeys() const {
    Keys keys;
    const SymbolsHandle table(xcb_key_symbols_alloc(*connection_));
    const auto mapping =
        connection_->reply(&xcb_get_modifier_mapping_reply, xcb_get_modifier_mapping(*connection_));
    const std::optional<std::uint8_t> place = KeyTable::xKeyCode(keyCode_);
    if (!place || !mapping || !table) return keys;

    keys.codes.push_back(*place);
    if (const auto symbol = KeyTable::symbolInPlace(*place)) {
        const XcbHandle<xcb_keycode_t> codes(xcb_key_symbols_get_keycode(table.get(), *symbol));
        for (const xcb_keycode_t* code = codes.get(); code != nullptr && *code != XCB_NO_SYMBOL; ++code)
            if (std::find(keys.codes.begin(), keys.codes.end(), *code) == keys.codes.end())
                keys.codes.push_back(*code);
    }
    unsigned mask = 0;
    if (modifiers_.shift) mask |= XCB_MOD_MASK_SHIFT;
    if (modifiers_.control) mask |= XCB_MOD_MASK_CONTROL;
    if (modifiers_.option) mask |= modifierWith({altLeft, altRight}, XCB_MOD_MASK_1, *mapping, table.get());
    if (modifiers_.command) mask |= modifierWith({superLeft, superRight}, XCB_MOD_MASK_4, *mapping, table.get());
    const unsigned numbers = modifierWith({numLock}, XCB_MOD_MASK_2, *mapping, table.get());
    for (const unsigned locks : {0u, unsigned{XCB_MOD_MASK_LOCK}, numbers, XCB_MOD_MASK_LOCK | numbers})
        keys.masks.push_back(static_cast<std::uint16_t>(mask | locks));
    return keys;
}

/// Grabs those that are free. A key that another program has grabbed, with any of the locks, is left to it.
void X11HotKeyGrab::grab(const Keys& keys) {
    for (const xcb_keycode_t code : grabbed_) ungrab(wanted_, code);
    wanted_ = keys;
    grabbed_.clear();
    for (const xcb_keycode_t code : keys.codes) {
        if (tryToGrab(keys, code))
            grabbed_.push_back(code);
        else
            ungrab(keys, code);
    }
    connection_->flush();
}

bool X11HotKeyGrab::tryToGrab(const Keys& keys, xcb_keycode_t code) const {
    std::vector<xcb_void_cookie_t> cookies;
    for (const std::uint16_t mask : keys.masks)
        cookies.push_back(xcb_grab_key_checked(*connection_, 0, connection_->root(), mask, code,
                                               XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    bool isGranted = true;
    for (const auto cookie : cookies) isGranted &= connection_->errorOf(cookie) == 0;
    return isGranted;
}

void X11HotKeyGrab::ungrab(const Keys& keys, xcb_keycode_t code) const {
    for (const std::uint16_t mask : keys.masks) xcb_ungrab_key(*connection_, code, connection_->root(), mask);
}

bool X11HotKeyGrab::isOurs(xcb_keycode_t code) const {
    return std::find(grabbed_.begin(), grabbed_.end(), code) != grabbed_.end();
}

void X11HotKeyGrab::run() {
    const BrokenPipeGuard guard;
    // A held key repeats as releases and presses, each pair with the same time. Nobody is that fast.
    xcb_keycode_t last = 0;
    bool isDown = false, hasNewMap = false;
    xcb_timestamp_t releaseTime = 0;
    try {
        for (;;) {
            const XcbEvent event = connection_->nextEvent();
            if (!event && std::exchange(hasNewMap, false)) {
                // Most new maps change nothing here, and then the grab need not be released for a moment.
                if (const Keys keys = wantedKeys(); keys != wanted_) grab(keys);
                continue;  // events may have arrived with the map
            }
            if (!event) {
                connection_->checkAlive();
                if (thread_.waitForInput(*connection_)) return;
                continue;
            }
            const auto& key = reinterpret_cast<const xcb_key_press_event_t&>(*event);
            switch (event->response_type & 0x7f) {
                case XCB_KEY_PRESS: {
                    if (!isOurs(key.detail)) break;  // every key comes here until the hot key is released
                    const bool isRepeat = key.detail == last && (isDown || key.time == releaseTime);
                    last = key.detail;
                    isDown = true;
                    if (!isRepeat) pressed_();
                    break;
                }
                case XCB_KEY_RELEASE:
                    if (key.detail != last) break;
                    isDown = false;
                    releaseTime = key.time;
                    break;
                case XCB_MAPPING_NOTIFY:
                    hasNewMap = true;
                    break;
                default:
                    break;
            }
        }
    } catch (const PlatformError&) {
        // The server is gone, and nobody presses keys any more.
    }
}

}  // namespace

std::unique_ptr<HotKeyGrab> makeX11HotKeyGrab(const std::string& displayName) {
    return std::make_unique<X11HotKeyGrab>(displayName);
}

}  // namespace lumenwhirl
