#pragma once

#include <cstdint>
#include <optional>

/// Keys of an X server, as the event log numbers them: by a key's place on the keyboard, whatever the layout makes
/// of it. X key codes are the kernel's plus 8, as every X server on Linux has them.
namespace lumenwhirl::KeyTable {

/// What a key without a virtual key code gets instead: this and its X key code. No virtual key code is above 127.
constexpr std::int64_t firstUnknownCode = 0x100;

/// The virtual key code of the key.
[[nodiscard]] std::int64_t virtualKeyCode(std::uint8_t xKeyCode) noexcept;

/// The usual one of the keys that have this virtual key code; empty for a code that no key has.
[[nodiscard]] std::optional<std::uint8_t> xKeyCode(std::int64_t virtualKeyCode) noexcept;

/// The virtual key code of what a key does, where its layout makes it Return, Escape, an arrow and the like: the
/// keypad's 7 is Home without NumLock, and some have Escape in CapsLock's place. Empty for every other key symbol.
[[nodiscard]] std::optional<std::int64_t> virtualKeyCodeOfSymbol(std::uint32_t keySymbol) noexcept;

}  // namespace lumenwhirl::KeyTable
