#pragma once

#include "Compositor/AxisMap.h"
#include "Compositor/Kernels/Kernels.h"
#include "Compositor/Picture.h"
#include "Compositor/StyledCanvas.h"

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
    /// Sets the map for the columns and rows of plane `plane` of `canvas`, from a source of the given size.
    void setMap(const StyledCanvas& canvas, int plane, Axis across, Axis down, int sourceWidth, int sourceHeight);
    /// Fills the canvas's columns of plane `plane` (one with the same geometry as the one set).
    void run(const StyledCanvas& canvas, int plane, const Kernels& kernels, const PlaneView& source,
             const MutablePlane& out);

private:
    AxisMap columns_, rows_;
    RowTables tables_;
    std::vector<std::int16_t> ring_;  // resampled source rows, row r at r modulo its size
    std::vector<const std::int16_t*> taps_;
};

}  // namespace lumenwhirl
