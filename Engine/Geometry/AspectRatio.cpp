#include "Engine/Geometry/AspectRatio.h"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace lumenwhirl {
namespace {

/// Rounds halves away from zero, then down to even; exact in double for every real canvas.
double evenSide(double side) {
    assert(std::isfinite(side));
    return 2 * std::floor(std::round(side) / 2);
}

}  // namespace

AspectRatio AspectRatio::fromString(std::string_view name) {
    if (name == "1:1") return r1x1;
    if (name == "9:16") return r9x16;
    return r16x9;
}

double AspectRatio::zoomBias() const {
    switch (value_) {
        case r1x1:
            return 1.15;
        case r9x16:
            return 1.4;
        case r16x9:
            break;
    }
    return 1;
}

Size AspectRatio::canvas(Size contentPointSize) const {
    const double base = std::max(2.0, contentPointSize.width);
    const double reduced = base * 9 / 16;
    return {evenSide(value_ == r9x16 ? reduced : base), evenSide(value_ == r16x9 ? reduced : base)};
}

}  // namespace lumenwhirl
