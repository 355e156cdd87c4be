#pragma once

#include "Pixels/Picture.h"

#include <vector>

namespace lumenwhirl {

/// Which pairs of rows differ between two recorded frames of one size. Pair k is luma rows 2k and 2k + 1 with
/// chroma row k, all columns.
class ChangedRows {
public:
    /// Reuses memory. Rows that differ early cost little; equal ones are read to their end.
    void compare(const PictureView& before, const PictureView& now);
    [[nodiscard]] int count() const noexcept { return static_cast<int>(changedBefore_.size()) - 1; }
    /// Whether any of the pairs in [begin, end) differs.
    [[nodiscard]] bool any(int begin, int end) const noexcept {
        return changedBefore_[static_cast<std::size_t>(end)] > changedBefore_[static_cast<std::size_t>(begin)];
    }

private:
    std::vector<int> changedBefore_;  // [k]: how many of the first k pairs differ
};

}  // namespace lumenwhirl
