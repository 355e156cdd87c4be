#include "Compositor/RowPairs.h"

#include <cstddef>
#include <cstring>

namespace lumenwhirl {

void ChangedRows::compare(const Planes<const std::uint8_t>& before, const Planes<const std::uint8_t>& now) {
    const auto differs = [&](std::size_t plane, int row) {
        const Plane<const std::uint8_t>&a = before[plane], &b = now[plane];
        if (a.row(row) == b.row(row)) return false;  // the same frame again
        return std::memcmp(a.row(row), b.row(row), static_cast<std::size_t>(b.width)) != 0;
    };
    const int pairs = now.height() / 2;
    changedBefore_.assign(1, 0);
    for (int k = 0; k < pairs; ++k) {
        const bool changed = differs(0, 2 * k) || differs(0, 2 * k + 1) || differs(1, k) || differs(2, k);
        changedBefore_.push_back(changedBefore_.back() + (changed ? 1 : 0));
    }
}

}  // namespace lumenwhirl
