#include "Recorder/Backends/X11/KeyboardLayout.h"

#include "Recorder/Backends/X11/KeyTable.h"

#include <xkbcommon/xkbcommon-keysyms.h>
#include <xkbcommon/xkbcommon-x11.h>

#include <array>
#include <cstddef>

namespace lumenwhirl {
namespace {

[[noreturn]] void fail() {
    throw PlatformError(
        PlatformError::Kind::unsupported,
        "this X server does not tell its keyboard's layout (extension XKB), so keys cannot be recorded");
}

/// As the core protocol's own macro IsModifierKey has it.
bool isModifier(xkb_keysym_t symbol) {
    return (symbol >= XKB_KEY_Shift_L && symbol <= XKB_KEY_Hyper_R) ||
           (symbol >= XKB_KEY_ISO_Lock && symbol <= XKB_KEY_ISO_Level5_Lock) || symbol == XKB_KEY_Mode_switch ||
           symbol == XKB_KEY_Num_Lock;
}

/// The text of a key symbol; none for control characters, as of Return.
std::string charactersOf(xkb_keysym_t symbol) {
    std::array<char, 64> text{};
    if (symbol >= XKB_KEY_F1 && symbol <= XKB_KEY_F35) {
        xkb_keysym_get_name(symbol, text.data(), text.size());
        return text.data();
    }
    if (xkb_keysym_to_utf8(symbol, text.data(), text.size()) <= 0) return {};
    const auto first = static_cast<unsigned char>(text[0]);
    return first < 0x20 || first == 0x7f ? std::string() : text.data();
}

}  // namespace

KeyboardLayout::KeyboardLayout(const X11Connection& connection) {
    if (xkb_x11_setup_xkb_extension(connection, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                                    XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, nullptr, nullptr) == 0)
        fail();
    // All comes from the server: neither files nor the environment count.
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
}

/// Which of the eight modifiers are Super and Alt differs between keyboards.
void KeyboardLayout::findModifiers(const X11Connection& connection) {
    const auto mapping = connection.reply(&xcb_get_modifier_mapping_reply, xcb_get_modifier_mapping(connection));
    if (mapping) {
        const xcb_keycode_t* const keyCodes = xcb_get_modifier_mapping_keycodes(mapping.get());
        const std::size_t keysPerModifier = mapping->keycodes_per_modifier;
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
    // The event has the group in the two bits above those of the buttons.
    xkb_state_update_mask(state_.get(), state & 0xffU, 0, 0, 0, 0, (state >> 13U) & 3U);
    const xkb_keysym_t symbol = xkb_state_key_get_one_sym(state_.get(), keyCode);
    if (isModifier(symbol)) return std::nullopt;
    Press press;
    press.keyCode = KeyTable::virtualKeyCodeOfSymbol(symbol).value_or(KeyTable::virtualKeyCode(keyCode));
    press.characters = charactersOf(symbol);
    press.modifiers.command = (state & commandMask_) != 0;
    press.modifiers.shift = (state & XCB_MOD_MASK_SHIFT) != 0;
    press.modifiers.option = (state & optionMask_) != 0;
    press.modifiers.control = (state & XCB_MOD_MASK_CONTROL) != 0;
    return press;
}

}  // namespace lumenwhirl
