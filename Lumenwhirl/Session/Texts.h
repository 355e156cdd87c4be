#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace lumenwhirl {

/// printf's text, of 95 bytes at most.
template <class... Values>
[[nodiscard]] std::string formatted(const char* format, Values... values) {
    char text[96];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

/// "0:07", "12:34" or "1:02:03"; part of a second counts as a whole one.
[[nodiscard]] std::string durationText(double seconds);
/// A character that may command a terminal or turn the order of what follows: a control character (C0, DEL, C1) or
/// a direction mark.
struct UnsafeCharacter {
    unsigned code = 0;
    std::size_t bytes = 0;  // 0: there is none
};
/// The one at the front of `text`, which is UTF-8.
[[nodiscard]] UnsafeCharacter unsafeCharacter(std::string_view text);

/// "980 bytes", "1.4 MB": decimal units, as file managers show them.
[[nodiscard]] std::string sizeText(std::uintmax_t bytes);

}  // namespace lumenwhirl
