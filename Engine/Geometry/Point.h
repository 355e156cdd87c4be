#pragma once

namespace lumenwhirl {

/// A position, in captured pixels (origin top-left, y down) unless its owner says otherwise.
struct Point {
    double x = 0, y = 0;
    bool operator==(const Point&) const = default;
};

}  // namespace lumenwhirl
