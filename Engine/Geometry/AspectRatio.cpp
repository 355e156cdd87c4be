#include "Engine/Geometry/AspectRatio.h"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace lumenwhirl {
namespace {

struct Shape {
    std::string_view name;
    double ratio;
    double zoomBias;
};

const Shape& shapeOf(AspectRatio::Case value) {
    static constexpr Shape wide{"16:9", 16.0 / 9.0, 1.0};
    static constexpr Shape square{"1:1", 1.0, 1.15};
    static constexpr Shape tall{"9:16", 0.5625, 1.4};
    switch (value) {
        case AspectRatio::r1x1:
            return square;
        case AspectRatio::r9x16:
            return tall;
        case AspectRatio::r16x9:
            break;
    }
    return wide;
}

/// Rounds halves away from zero, then down to even; exact in double for every real canvas.
double evenSide(double side) {
    assert(std::isfinite(side));
    return 2 * std::floor(std::round(side) / 2);
}

}  // namespace

std::optional<AspectRatio> AspectRatio::fromRawValue(std::string_view name) {
    for (const Case value : allCases)
        if (shapeOf(value).name == name) return AspectRatio(value);
    return std::nullopt;
}

AspectRatio AspectRatio::fromString(std::string_view name) {
    return fromRawValue(name).value_or(r16x9);
}

std::string_view AspectRatio::rawValue() const {
    return shapeOf(value_).name;
}

double AspectRatio::ratio() const {
    return shapeOf(value_).ratio;
}

double AspectRatio::zoomBias() const {
    return shapeOf(value_).zoomBias;
}

Size AspectRatio::canvas(Size contentPointSize) const {
    const double base = std::max(2.0, contentPointSize.width);
    const double reduced = base * 9 / 16;
    return {evenSide(value_ == r9x16 ? reduced : base), evenSide(value_ == r16x9 ? reduced : base)};
}

}  // namespace lumenwhirl
