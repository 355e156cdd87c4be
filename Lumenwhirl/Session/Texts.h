#pragma once

#include <cstdint>
#include <string>

namespace lumenwhirl {

/// "0:07", "12:34" or "1:02:03"; part of a second counts as a whole one.
[[nodiscard]] std::string durationText(double seconds);
/// "980 bytes", "1.4 MB": decimal units, as file managers show them.
[[nodiscard]] std::string sizeText(std::uintmax_t bytes);

}  // namespace lumenwhirl
