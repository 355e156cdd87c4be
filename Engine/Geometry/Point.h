#pragma once

namespace lumenwhirl {

/// A position. Its owner says in which space; captured pixels (origin top-left, y down) unless stated.
struct Point {
    double x = 0, y = 0;
    bool operator==(const Point&) const = default;
};

}  // namespace lumenwhirl
