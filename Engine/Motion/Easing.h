#pragma once

#include <algorithm>

namespace lumenwhirl {

/// Ease-in-out cubic: 0 to 1 over 0...1, flat at both ends, steepest in the middle. Clamped outside.
[[nodiscard]] inline double easeInOutCubic(double fraction) {
    const double p = std::min(std::max(0.0, fraction), 1.0);
    if (p < 0.5) return 4 * p * p * p;
    const double left = 2 - 2 * p;
    return 1 - left * left * left / 2;
}

}  // namespace lumenwhirl
