#pragma once

namespace lumenwhirl {

/// An axis-aligned rectangle covering [x, x + width) by [y, y + height), y down.
struct Rect {
    double x = 0, y = 0, width = 0, height = 0;
    bool operator==(const Rect&) const = default;
};

}  // namespace lumenwhirl
