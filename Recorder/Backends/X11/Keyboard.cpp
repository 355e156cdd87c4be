#include "Recorder/Backends/X11/Keyboard.h"

// xcb has fields of that name, which is a word of C++.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

namespace lumenwhirl {
namespace {

constexpr std::uint16_t device = XCB_XKB_ID_USE_CORE_KBD;
constexpr std::uint16_t awaited = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY |
                                  XCB_XKB_EVENT_TYPE_STATE_NOTIFY | XCB_XKB_EVENT_TYPE_CONTROLS_NOTIFY;

std::uint16_t stateFrom(unsigned modifiers, unsigned group) {
    return static_cast<std::uint16_t>((modifiers & 0xffU) | (group & 3U) << 13U);
}

std::bitset<256> keysIn(const std::uint8_t* bits) {
    std::bitset<256> keys;
    for (std::size_t key = 0; key < keys.size(); ++key) keys[key] = (bits[key / 8] >> (key % 8) & 1) != 0;
    return keys;
}

}  // namespace

Keyboard::Keyboard(const X11Connection& connection) : connection_(connection), layout_(connection) {
    firstEvent_ = xcb_get_extension_data(connection, &xcb_xkb_id)->first_event;  // the layout has found it
    (void)connection.errorOf(
        xcb_xkb_select_events_checked(connection, device, awaited, 0, awaited, 0, 0, nullptr));
    layout_ = KeyboardLayout(connection);  // again, so that no change falls between
    readControls();
    if (const auto state = connection.reply(&xcb_xkb_get_state_reply, xcb_xkb_get_state(connection, device)))
        state_ = stateFrom(state->mods, state->group);
    if (const auto keys = connection.reply(&xcb_query_keymap_reply, xcb_query_keymap(connection)))
        keysDown_ = keysIn(keys->keys);
}

void Keyboard::readControls() {
    const auto controls =
        connection_.reply(&xcb_xkb_get_controls_reply, xcb_xkb_get_controls(connection_, device));
    if (!controls) return;
    const bool isOn = (controls->enabledControls & XCB_XKB_BOOL_CTRL_REPEAT_KEYS) != 0;
    repeatingKeys_ = isOn ? keysIn(controls->perKeyRepeat) : std::bitset<256>();
    repeatDelay_ = controls->repeatDelay / 1000.0;
    repeatInterval_ = std::max(controls->repeatInterval / 1000.0, 0.001);
}

void Keyboard::take(const xcb_generic_event_t& event) {
    if ((event.response_type & 0x7f) != firstEvent_) return;
    switch (event.pad0) {  // which of XKB's
        case XCB_XKB_STATE_NOTIFY: {
            xcb_xkb_state_notify_event_t change{};
            std::memcpy(&change, &event, sizeof change);
            state_ = stateFrom(change.mods, change.group);
            break;
        }
        case XCB_XKB_NEW_KEYBOARD_NOTIFY:
        case XCB_XKB_MAP_NOTIFY:
            isLayoutStale_ = true;  // many come at once
            break;
        case XCB_XKB_CONTROLS_NOTIFY:
            readControls();
            break;
        default:
            break;
    }
}

void Keyboard::press(std::uint8_t keyCode, double time, std::vector<InputEvent>& events) {
    repeatUntil(time, events);
    add(keyCode, time, keysDown_[keyCode], events);
    keysDown_.set(keyCode);
    if (!repeatingKeys_[keyCode]) return;
    held_ = keyCode;
    nextRepeat_ = time + repeatDelay_;
}

void Keyboard::release(std::uint8_t keyCode, double time, std::vector<InputEvent>& events) {
    repeatUntil(time, events);
    keysDown_.reset(keyCode);
    if (held_ == keyCode) held_.reset();
}

void Keyboard::repeatUntil(double time, std::vector<InputEvent>& events) {
    for (; held_ && nextRepeat_ <= time; nextRepeat_ += repeatInterval_) add(*held_, nextRepeat_, true, events);
}

void Keyboard::add(std::uint8_t keyCode, double time, bool isRepeat, std::vector<InputEvent>& events) {
    if (std::exchange(isLayoutStale_, false)) {
        try {
            layout_ = KeyboardLayout(connection_);
        } catch (const PlatformError& error) {
            // Better read by the former layout than not at all; unless there is nothing more to read.
            if (error.kind() == PlatformError::Kind::notReachable) throw;
        }
        readControls();
    }
    auto press = layout_.press(keyCode, state_);
    if (!press) return;
    InputEvent& event = events.emplace_back();
    event.kind = InputEvent::Kind::keyDown;
    event.time = time;
    event.keyCode = press->keyCode;
    event.characters = std::move(press->characters);
    event.modifiers = press->modifiers;
    event.isRepeat = isRepeat;
}

}  // namespace lumenwhirl
