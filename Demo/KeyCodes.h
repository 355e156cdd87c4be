#pragma once

#include <cstdint>

namespace lumenwhirl::demo {

/// The virtual key codes the log stores, of a US layout.
namespace keyCode {
inline constexpr std::int64_t returnKey = 36, space = 49, backspace = 51, escape = 53;
}

struct KeyStroke {
    std::int64_t code = 0;
    bool shift = false;
};

/// The key that types an ASCII character. Throws std::invalid_argument for any other.
[[nodiscard]] KeyStroke keyStrokeFor(char character);

}  // namespace lumenwhirl::demo
