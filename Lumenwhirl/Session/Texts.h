#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

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
/// "980 bytes", "1.4 MB": decimal units, as file managers show them.
[[nodiscard]] std::string sizeText(std::uintmax_t bytes);

}  // namespace lumenwhirl
