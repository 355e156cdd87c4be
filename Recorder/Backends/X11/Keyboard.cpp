#include "Recorder/Backends/X11/Keyboard.h"

#include "Recorder/Backends/X11/KeyTable.h"

// xcb has fields of that name, which is a keyword in C++.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

#include <xkbcommon/xkbcommon-keysyms.h>
#include <xkbcommon/xkbcommon-x11.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>
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

[[noreturn]] void fail() {
    throw PlatformError(
        PlatformError::Kind::unsupported,
        "this X server does not report its keyboard layout (extension XKB), so keys cannot be recorded");
}

/// As Xlib's macro IsModifierKey.
bool isModifier(xkb_keysym_t symbol) {
    return (symbol >= XKB_KEY_Shift_L && symbol <= XKB_KEY_Hyper_R) ||
           (symbol >= XKB_KEY_ISO_Lock && symbol <= XKB_KEY_ISO_Level5_Lock) || symbol == XKB_KEY_Mode_switch ||
           symbol == XKB_KEY_Num_Lock;
}

/// The accent that a dead key adds to the next letter; empty for other symbols, and for rare accents.
std::string accentOf(xkb_keysym_t symbol) {
    constexpr std::array<const char*, 14> accents{"`", "´", "^", "~", "¯", "˘", "˙",
                                                  "¨", "˚", "˝", "ˇ", "¸", "˛", "ͺ"};
    const bool isKnown = symbol >= XKB_KEY_dead_grave && symbol <= XKB_KEY_dead_iota;
    return isKnown ? accents[symbol - XKB_KEY_dead_grave] : "";
}

/// Such as "Insert", "F5", "Volume Up" or "Audio Play": the symbol's own name in words, or a better known one.
std::string nameOf(xkb_keysym_t symbol) {
    switch (symbol) {
        case XKB_KEY_NoSymbol:
        case XKB_KEY_VoidSymbol:
            return {};
        case XKB_KEY_XF86AudioRaiseVolume:
            return "Volume Up";
        case XKB_KEY_XF86AudioLowerVolume:
            return "Volume Down";
        case XKB_KEY_XF86MonBrightnessUp:
            return "Brightness Up";
        case XKB_KEY_XF86MonBrightnessDown:
            return "Brightness Down";
        default:
            break;
    }
    std::array<char, 64> buffer{};
    if (xkb_keysym_get_name(symbol, buffer.data(), buffer.size()) <= 0) return {};
    std::string_view rest = buffer.data();
    if (rest.starts_with("0x")) return {};  // it has no name
    for (const std::string_view prefix : {"XF86", "KP_", "dead_"})
        if (rest.starts_with(prefix)) rest.remove_prefix(prefix.size());
    std::string name;
    char former = ' ';
    for (const char character : rest) {
        const bool beginsWord = character >= 'A' && character <= 'Z' && former >= 'a' && former <= 'z';
        if (beginsWord) name += ' ';
        name += former = character == '_' ? ' ' : character;
    }
    return name;
}

/// The text of a key symbol, or its name; empty for control characters, such as that of Return, and for the arrows
/// and their like.
std::string charactersOf(xkb_keysym_t symbol) {
    std::array<char, 64> text{};
    if (xkb_keysym_to_utf8(symbol, text.data(), text.size()) > 0) {
        const auto first = static_cast<unsigned char>(text[0]);
        return first < 0x20 || first == 0x7f ? std::string() : text.data();
    }
    if (KeyTable::virtualKeyCodeOfSymbol(symbol)) return {};
    const std::string accent = accentOf(symbol);
    return accent.empty() ? nameOf(symbol) : accent;
}

bool isLatinLetter(xkb_keysym_t symbol) {
    return symbol >= XKB_KEY_a && symbol <= XKB_KEY_z;
}

}  // namespace

KeyboardLayout::KeyboardLayout(const X11Connection& connection) {
    if (xkb_x11_setup_xkb_extension(connection, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                                    XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, nullptr, nullptr) == 0)
        fail();
    // Everything comes from the server, nothing from files or the environment.
    const std::unique_ptr<xkb_context, Released<&xkb_context_unref>> context(xkb_context_new(
        static_cast<xkb_context_flags>(XKB_CONTEXT_NO_DEFAULT_INCLUDES | XKB_CONTEXT_NO_ENVIRONMENT_NAMES)));
    const std::int32_t device = xkb_x11_get_core_keyboard_device_id(connection);
    if (!context || device < 0) fail();
    xkb_context_set_log_level(context.get(), XKB_LOG_LEVEL_CRITICAL);
    keymap_.reset(xkb_x11_keymap_new_from_device(context.get(), connection, device, XKB_KEYMAP_COMPILE_NO_FLAGS));
    if (!keymap_) fail();
    state_.reset(xkb_state_new(keymap_.get()));
    if (!state_) fail();
    findModifiers(connection);
    for (xkb_layout_index_t layout = 0; layout < isLatin_.size(); ++layout) {
        int letters = 0;
        for (unsigned key = 8; key < 256; ++key) letters += isLatinLetter(symbolAt(key, layout, 0)) ? 1 : 0;
        isLatin_[layout] = letters >= 20;
    }
}

/// Of a key by itself, or with Shift (level 1); none where the layout has no such key.
xkb_keysym_t KeyboardLayout::symbolAt(xkb_keycode_t keyCode, xkb_layout_index_t layout,
                                      xkb_level_index_t level) const {
    const xkb_keysym_t* symbols = nullptr;
    if (layout >= xkb_keymap_num_layouts_for_key(keymap_.get(), keyCode)) return XKB_KEY_NoSymbol;
    const int count = xkb_keymap_key_get_syms_by_level(keymap_.get(), keyCode, layout, level, &symbols);
    return count == 1 ? symbols[0] : XKB_KEY_NoSymbol;
}

/// What programs take a shortcut for on a layout without Latin letters: the key's symbol on the first layout that
/// has them or, if there is none, its letter on most keyboards.
std::optional<xkb_keysym_t> KeyboardLayout::latinSymbol(xkb_keycode_t keyCode, bool hasShift) const {
    if (isLatin_[xkb_state_key_get_layout(state_.get(), keyCode) % isLatin_.size()] ||
        xkb_keymap_num_layouts_for_key(keymap_.get(), keyCode) == 0)
        return std::nullopt;
    for (xkb_layout_index_t layout = 0; layout < isLatin_.size(); ++layout)
        if (const xkb_keysym_t symbol = symbolAt(keyCode, layout, hasShift ? 1 : 0);
            isLatin_[layout] && symbol > XKB_KEY_space && symbol <= XKB_KEY_asciitilde)
            return symbol;
    if (isLatin_.any()) return std::nullopt;
    return KeyTable::symbolInPlace(static_cast<std::uint8_t>(keyCode));
}

/// Which of the eight modifiers are Super and Alt differs between keyboards.
void KeyboardLayout::findModifiers(const X11Connection& connection) {
    const auto mapping = connection.reply(&xcb_get_modifier_mapping_reply, xcb_get_modifier_mapping(connection));
    if (mapping) {
        const auto keyCodes = listIn(*mapping, xcb_get_modifier_mapping_keycodes(mapping.get()),
                                     std::size_t{8} * mapping->keycodes_per_modifier);
        const std::size_t keysPerModifier = keyCodes.size() / 8;
        for (std::size_t modifier = XCB_MAP_INDEX_1; modifier <= XCB_MAP_INDEX_5; ++modifier) {
            const auto mask = static_cast<std::uint16_t>(1U << modifier);
            for (std::size_t key = 0; key < keysPerModifier; ++key) {
                const xcb_keycode_t keyCode = keyCodes[modifier * keysPerModifier + key];
                if (canMean(keyCode, XKB_KEY_Super_L, XKB_KEY_Super_R)) commandMask_ |= mask;
                if (canMean(keyCode, XKB_KEY_Alt_L, XKB_KEY_Alt_R)) optionMask_ |= mask;
            }
        }
    }
    if (commandMask_ == 0) commandMask_ = XCB_MOD_MASK_4;
    if (optionMask_ == 0) optionMask_ = XCB_MOD_MASK_1;
}

bool KeyboardLayout::canMean(std::uint8_t keyCode, xkb_keysym_t left, xkb_keysym_t right) const {
    const xkb_layout_index_t layouts = xkb_keymap_num_layouts_for_key(keymap_.get(), keyCode);
    for (xkb_layout_index_t layout = 0; layout < layouts; ++layout) {
        const xkb_level_index_t levels = xkb_keymap_num_levels_for_key(keymap_.get(), keyCode, layout);
        for (xkb_level_index_t level = 0; level < levels; ++level) {
            const xkb_keysym_t* symbols = nullptr;
            const int count = xkb_keymap_key_get_syms_by_level(keymap_.get(), keyCode, layout, level, &symbols);
            for (int index = 0; index < count; ++index)
                if (symbols[index] == left || symbols[index] == right) return true;
        }
    }
    return false;
}

std::optional<KeyboardLayout::Press> KeyboardLayout::press(std::uint8_t keyCode, std::uint16_t state) {
    // An event has the group in the two bits above those of the buttons.
    xkb_state_update_mask(state_.get(), state & 0xffU, 0, 0, 0, 0, (state >> 13U) & 3U);
    xkb_keysym_t symbol = xkb_state_key_get_one_sym(state_.get(), keyCode);
    if (isModifier(symbol)) return std::nullopt;
    if ((state & (commandMask_ | optionMask_ | XCB_MOD_MASK_CONTROL)) != 0)
        symbol = latinSymbol(keyCode, (state & XCB_MOD_MASK_SHIFT) != 0).value_or(symbol);
    Press press;
    press.keyCode = KeyTable::virtualKeyCodeOfSymbol(symbol).value_or(KeyTable::virtualKeyCode(keyCode));
    press.characters = charactersOf(symbol);
    press.modifiers.command = (state & commandMask_) != 0;
    press.modifiers.shift = (state & XCB_MOD_MASK_SHIFT) != 0;
    press.modifiers.option = (state & optionMask_) != 0;
    press.modifiers.control = (state & XCB_MOD_MASK_CONTROL) != 0;
    return press;
}

Keyboard::Keyboard(const X11Connection& connection) : connection_(connection), layout_(connection) {
    firstEvent_ = xcb_get_extension_data(connection, &xcb_xkb_id)->first_event;  // the layout has set XKB up
    (void)connection.errorOf(
        xcb_xkb_select_events_checked(connection, device, awaited, 0, awaited, 0, 0, nullptr));
    layout_ = KeyboardLayout(connection);  // again, so that no change in between is missed
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
    switch (event.pad0) {  // the kind of XKB event
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
            // The former layout is better than none, unless the server is gone.
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
