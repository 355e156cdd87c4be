#pragma once

#include "Pixels/Picture.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumenwhirl {

/// Some of a finished frame's pairs of luma rows, each with the chroma rows that belong to it.
class RowPairs {
public:
    /// None of the pairs of a frame of `height` rows (even). Reuses memory.
    void clear(int height) { marks_.assign(static_cast<std::size_t>(height / 2), 0); }
    void add(int pair) { marks_[static_cast<std::size_t>(pair)] = 1; }
    [[nodiscard]] int count() const noexcept { return static_cast<int>(marks_.size()); }
    [[nodiscard]] bool contains(int pair) const noexcept { return marks_[static_cast<std::size_t>(pair)] != 0; }
    /// Whether row `row` of plane `plane` of a frame of PictureFormat<Sample> belongs to one of them.
    template <class Sample>
    [[nodiscard]] bool containsRow(int plane, int row) const noexcept {
        return contains(plane == 0 ? row / 2 : row >> (1 - PictureFormat<Sample>::chromaRowsShift));
    }

private:
    std::vector<std::uint8_t> marks_;
};

/// Which pairs of rows differ between two recorded frames of one size. Pair k is luma rows 2k and 2k + 1 with
/// chroma row k, all columns.
class ChangedRows {
public:
    /// Reuses memory. Rows that differ early cost little; equal ones are read to their end.
    void compare(const Planes<const std::uint8_t>& before, const Planes<const std::uint8_t>& now);
    [[nodiscard]] int count() const noexcept { return static_cast<int>(changedBefore_.size()) - 1; }
    /// Whether any of the pairs in [begin, end) differs.
    [[nodiscard]] bool any(int begin, int end) const noexcept {
        return changedBefore_[static_cast<std::size_t>(end)] > changedBefore_[static_cast<std::size_t>(begin)];
    }

private:
    std::vector<int> changedBefore_;  // [k]: how many of the first k pairs differ
};

}  // namespace lumenwhirl
