#pragma once

#include "Compositor/RowPairs.h"
#include "Compositor/StyledCanvas.h"
#include "Pixels/AxisMap.h"
#include "Pixels/Kernels/Kernels.h"
#include "Pixels/Picture.h"

#include <cstdint>
#include <vector>

namespace lumenwhirl {

/// Resamples planes by one separable map: source rows across once each, kept while needed, then mixed down. Keeps
/// its tables and memory from frame to frame.
class PlaneResampler {
public:
    /// Output sample i of an axis lies at source sample step * i + origin.
    struct Axis {
        double step = 1, origin = 0;
    };
    /// Sets the map for these output columns and rows, from a source of the given size.
    void setMap(Span columns, Span rows, Axis across, Axis down, int sourceWidth, int sourceHeight);
    /// Memory for one run; kept by the caller, so that bands can run side by side.
    struct Scratch {
        std::vector<std::int16_t> ring;  // resampled source rows, row r at r modulo their number
        std::vector<const std::int16_t*> taps;
    };
    /// Which source rows output row `row` is made of.
    [[nodiscard]] Span sourceRows(int row) const noexcept {
        const int first = rows_.first(row - rows_.geometry().begin);
        return {first, first + rows_.taps()};
    }
    /// Fills the canvas's columns in those of `rows` of plane `plane` (one with the same geometry as the one set)
    /// that are wanted, and finishes them but for those still to be `overlaid`. Callable from several threads,
    /// each with its own rows and scratch.
    template <class Sample>
    void run(const StyledCanvas<Sample>& canvas, int plane, Span rows, const RowPairs& wanted,
             const RowPairs& overlaid, const Kernels& kernels, const PlaneView& source,
             const BasicPlane<Sample>& out, Scratch& scratch) const;

private:
    AxisMap columns_, rows_;
    RowTables tables_;
};

}  // namespace lumenwhirl
