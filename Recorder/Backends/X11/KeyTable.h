#pragma once

#include <cstdint>
#include <optional>

/// The keys of an X server and their numbers in the event log, which go by a key's place on the keyboard, whatever
/// its layout. X key codes are the kernel's plus 8 on every X server on Linux.
namespace lumenwhirl::KeyTable {

/// A key without a virtual key code gets this plus its X key code. No virtual key code is above 127.
constexpr std::int64_t firstUnknownCode = 0x100;

[[nodiscard]] std::int64_t virtualKeyCode(std::uint8_t xKeyCode) noexcept;

/// The usual key with that virtual key code; empty for a code that no key has.
[[nodiscard]] std::optional<std::uint8_t> xKeyCode(std::int64_t virtualKeyCode) noexcept;

/// The digit or small letter on that key of a US keyboard, which is its key symbol, too.
[[nodiscard]] std::optional<std::uint32_t> symbolInPlace(std::uint8_t xKeyCode) noexcept;

/// The virtual key code of a key symbol such as Return, Escape or an arrow, which counts for more than the key's
/// place: the keypad's 7 is Home without NumLock, and some users have Escape in CapsLock's place. Empty for other
/// symbols.
[[nodiscard]] std::optional<std::int64_t> virtualKeyCodeOfSymbol(std::uint32_t keySymbol) noexcept;

}  // namespace lumenwhirl::KeyTable
