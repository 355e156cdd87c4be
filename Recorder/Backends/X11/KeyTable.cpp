#include "Recorder/Backends/X11/KeyTable.h"

#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include <array>
#include <cstddef>
#include <string_view>

namespace lumenwhirl::KeyTable {
namespace {

constexpr std::uint8_t firstXKeyCode = 8;  // the kernel's key 0, which does not exist

struct Key {
    std::uint8_t kernelCode;
    std::uint8_t virtualCode;
};

// Of keys that share a virtual key code, the usual one comes first.
// clang-format off
constexpr auto keys = std::to_array<Key>({
    {KEY_A, 0}, {KEY_S, 1}, {KEY_D, 2}, {KEY_F, 3}, {KEY_H, 4}, {KEY_G, 5}, {KEY_Z, 6}, {KEY_X, 7}, {KEY_C, 8},
    {KEY_V, 9}, {KEY_102ND, 10}, {KEY_B, 11}, {KEY_Q, 12}, {KEY_W, 13}, {KEY_E, 14}, {KEY_R, 15}, {KEY_Y, 16},
    {KEY_T, 17}, {KEY_1, 18}, {KEY_2, 19}, {KEY_3, 20}, {KEY_4, 21}, {KEY_6, 22}, {KEY_5, 23}, {KEY_EQUAL, 24},
    {KEY_9, 25}, {KEY_7, 26}, {KEY_MINUS, 27}, {KEY_8, 28}, {KEY_0, 29}, {KEY_RIGHTBRACE, 30}, {KEY_O, 31},
    {KEY_U, 32}, {KEY_LEFTBRACE, 33}, {KEY_I, 34}, {KEY_P, 35}, {KEY_ENTER, 36}, {KEY_L, 37}, {KEY_J, 38},
    {KEY_APOSTROPHE, 39}, {KEY_K, 40}, {KEY_SEMICOLON, 41}, {KEY_BACKSLASH, 42}, {KEY_COMMA, 43}, {KEY_SLASH, 44},
    {KEY_N, 45}, {KEY_M, 46}, {KEY_DOT, 47}, {KEY_TAB, 48}, {KEY_SPACE, 49}, {KEY_GRAVE, 50}, {KEY_BACKSPACE, 51},
    {KEY_ESC, 53},

    {KEY_RIGHTMETA, 54}, {KEY_LEFTMETA, 55}, {KEY_LEFTSHIFT, 56}, {KEY_CAPSLOCK, 57}, {KEY_LEFTALT, 58},
    {KEY_LEFTCTRL, 59}, {KEY_RIGHTSHIFT, 60}, {KEY_RIGHTALT, 61}, {KEY_RIGHTCTRL, 62},

    {KEY_KPDOT, 65}, {KEY_KPASTERISK, 67}, {KEY_KPPLUS, 69}, {KEY_NUMLOCK, 71}, {KEY_KPSLASH, 75},
    {KEY_KPENTER, 76}, {KEY_KPMINUS, 78}, {KEY_KPEQUAL, 81}, {KEY_KP0, 82}, {KEY_KP1, 83}, {KEY_KP2, 84},
    {KEY_KP3, 85}, {KEY_KP4, 86}, {KEY_KP5, 87}, {KEY_KP6, 88}, {KEY_KP7, 89}, {KEY_KP8, 91}, {KEY_KP9, 92},

    {KEY_VOLUMEUP, 72}, {KEY_VOLUMEDOWN, 73}, {KEY_MUTE, 74},

    // On Japanese and Korean keyboards.
    {KEY_YEN, 93}, {KEY_RO, 94}, {KEY_KPJPCOMMA, 95}, {KEY_KPCOMMA, 95}, {KEY_MUHENKAN, 102}, {KEY_HANJA, 102},
    {KEY_KATAKANAHIRAGANA, 104}, {KEY_HANGEUL, 104},

    // Where there is no F13 to F15, the keys right of F12 take their place.
    {KEY_F1, 122}, {KEY_F2, 120}, {KEY_F3, 99}, {KEY_F4, 118}, {KEY_F5, 96}, {KEY_F6, 97}, {KEY_F7, 98},
    {KEY_F8, 100}, {KEY_F9, 101}, {KEY_F10, 109}, {KEY_F11, 103}, {KEY_F12, 111}, {KEY_SYSRQ, 105}, {KEY_F13, 105},
    {KEY_SCROLLLOCK, 107}, {KEY_F14, 107}, {KEY_PAUSE, 113}, {KEY_F15, 113}, {KEY_F16, 106}, {KEY_F17, 64},
    {KEY_F18, 79}, {KEY_F19, 80}, {KEY_F20, 90},

    {KEY_COMPOSE, 110}, {KEY_INSERT, 114}, {KEY_HELP, 114}, {KEY_HOME, 115}, {KEY_PAGEUP, 116}, {KEY_DELETE, 117},
    {KEY_END, 119}, {KEY_PAGEDOWN, 121}, {KEY_LEFT, 123}, {KEY_RIGHT, 124}, {KEY_DOWN, 125}, {KEY_UP, 126},
});
// clang-format on

constexpr auto virtualCodes = [] {
    std::array<std::int64_t, 256> codes{};
    for (std::size_t code = 0; code < codes.size(); ++code)
        codes[code] = firstUnknownCode + static_cast<std::int64_t>(code);
    for (const Key& key : keys) codes[std::size_t{key.kernelCode} + firstXKeyCode] = key.virtualCode;
    return codes;
}();

}  // namespace

std::int64_t virtualKeyCode(std::uint8_t xKeyCode) noexcept {
    return virtualCodes[xKeyCode];
}

std::optional<std::uint8_t> xKeyCode(std::int64_t virtualKeyCode) noexcept {
    for (const Key& key : keys)
        if (key.virtualCode == virtualKeyCode) return static_cast<std::uint8_t>(key.kernelCode + firstXKeyCode);
    return std::nullopt;
}

std::optional<std::uint32_t> symbolInPlace(std::uint8_t xKeyCode) noexcept {
    struct Row {
        std::uint8_t first;
        std::string_view characters;
    };
    constexpr std::array rows{Row{KEY_1, "1234567890"}, Row{KEY_Q, "qwertyuiop"}, Row{KEY_A, "asdfghjkl"},
                              Row{KEY_Z, "zxcvbnm"}};
    for (const Row& row : rows) {
        const auto place = static_cast<std::size_t>(xKeyCode - firstXKeyCode - row.first);
        if (place < row.characters.size()) return static_cast<std::uint32_t>(row.characters[place]);
    }
    return std::nullopt;
}

std::optional<std::int64_t> virtualKeyCodeOfSymbol(std::uint32_t keySymbol) noexcept {
    switch (keySymbol) {
        case XKB_KEY_Return:
            return 36;
        case XKB_KEY_KP_Enter:
            return 76;
        case XKB_KEY_Tab:
        case XKB_KEY_ISO_Left_Tab:  // with Shift
            return 48;
        case XKB_KEY_space:
            return 49;
        case XKB_KEY_BackSpace:
            return 51;
        case XKB_KEY_Escape:
            return 53;
        case XKB_KEY_Home:
        case XKB_KEY_KP_Home:
            return 115;
        case XKB_KEY_Prior:
        case XKB_KEY_KP_Prior:
            return 116;
        case XKB_KEY_Delete:
        case XKB_KEY_KP_Delete:
            return 117;
        case XKB_KEY_End:
        case XKB_KEY_KP_End:
            return 119;
        case XKB_KEY_Next:
        case XKB_KEY_KP_Next:
            return 121;
        case XKB_KEY_Left:
        case XKB_KEY_KP_Left:
            return 123;
        case XKB_KEY_Right:
        case XKB_KEY_KP_Right:
            return 124;
        case XKB_KEY_Down:
        case XKB_KEY_KP_Down:
            return 125;
        case XKB_KEY_Up:
        case XKB_KEY_KP_Up:
            return 126;
        default:
            return std::nullopt;
    }
}

}  // namespace lumenwhirl::KeyTable
