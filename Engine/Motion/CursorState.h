#pragma once

#include "Engine/Geometry/Shapes.h"

#include <vector>

namespace lumenwhirl {

/// One click's expanding ring.
struct Ripple {
    Point center;         // where the click was, captured pixels
    double progress = 0;  // 0 at the click, 1 at the end of its life
    bool operator==(const Ripple&) const = default;
};

/// The drawn cursor at one moment.
struct CursorState {
    Point position;      // captured pixels
    double opacity = 0;  // 0...1
    std::vector<Ripple> ripples;
    [[nodiscard]] bool isVisible() const noexcept { return opacity > 0.001; }
    bool operator==(const CursorState&) const = default;
};

}  // namespace lumenwhirl
