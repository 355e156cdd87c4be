#pragma once

namespace lumenwhirl {

/// A position, in captured pixels (origin top-left, y down) unless its owner says otherwise.
struct Point {
    double x = 0, y = 0;
    bool operator==(const Point&) const = default;
};

/// Width and height, in the unit its owner states.
struct Size {
    double width = 0, height = 0;
    bool operator==(const Size&) const = default;
};

/// An axis-aligned rectangle covering [x, x + width) by [y, y + height), y down.
struct Rect {
    double x = 0, y = 0, width = 0, height = 0;
    bool operator==(const Rect&) const = default;
};

}  // namespace lumenwhirl
