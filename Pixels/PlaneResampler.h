#pragma once

#include "Pixels/AxisMap.h"
#include "Pixels/Kernels/Kernels.h"
#include "Pixels/Picture.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

namespace lumenwhirl {

/// Columns of a row, or rows, of one plane: [begin, end).
struct Span {
    int begin = 0, end = 0;
    [[nodiscard]] bool isEmpty() const noexcept { return begin >= end; }
    bool operator==(const Span&) const = default;
};

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
    /// Fills `rows` of a plane. `target.columns(row)` says which columns of a row, none if empty; each filled row
    /// is given to `target.finish(row, samples)` while it is still in the cache. Callable from several threads,
    /// each with its own rows and scratch.
    template <class Sample, class Target>
    void run(Span rows, const Target& target, const Kernels& kernels, const Plane<const std::uint8_t>& source,
             const Plane<Sample>& out, Scratch& scratch) const;

private:
    AxisMap columns_, rows_;
    RowTables tables_;
};

template <class Sample, class Target>
void PlaneResampler::run(Span rows, const Target& target, const Kernels& kernels,
                         const Plane<const std::uint8_t>& source, const Plane<Sample>& out,
                         Scratch& scratch) const {
    if (columns_.count() <= 0) return;
    // Rows come several at a time, so some beyond the taps may be there before they are needed.
    constexpr int batch = Kernels::rowsAtOnce;
    const int slots = rows_.taps() + batch;
    const std::size_t pitch = tables_.paddedCount();
    scratch.ring.resize(pitch * static_cast<std::size_t>(slots));
    scratch.taps.resize(static_cast<std::size_t>(rows_.taps()));
    const auto slot = [&](int row) { return scratch.ring.data() + pitch * static_cast<std::size_t>(row % slots); };

    const int firstColumn = columns_.geometry().begin, firstRow = rows_.geometry().begin;
    int loaded = -1;  // last source row in the ring
    for (int y = rows.begin; y < rows.end; ++y) {
        const Span span = target.columns(y);
        if (span.isEmpty()) continue;
        const int first = rows_.first(y - firstRow), last = first + rows_.taps() - 1;
        while (loaded < last) {
            const int start = std::max(loaded + 1, first);
            std::array<const std::uint8_t*, batch> from{};
            std::array<std::int16_t*, batch> to{};
            for (int i = 0; i < batch; ++i) {
                loaded = std::min(start + i, source.height - 1);
                from[static_cast<std::size_t>(i)] = source.row(loaded);
                to[static_cast<std::size_t>(i)] = slot(loaded);
            }
            kernels.resampleRows(tables_, from.data(), to.data());
        }
        for (int k = 0; k < rows_.taps(); ++k)
            scratch.taps[static_cast<std::size_t>(k)] = slot(first + k) + (span.begin - firstColumn);
        kernels.into<Sample>().blendRows(scratch.taps.data(), rows_.weights(y - firstRow), rows_.taps(),
                                         out.row(y) + span.begin, span.end - span.begin);
        target.finish(y, out.row(y));
    }
}

/// Scales whole pictures of yuv420p8. One thread at a time; keeps its memory from call to call.
class PictureResampler {
public:
    /// Fills the top left `width` x `height` pixels (even) of `out` with all of `source`.
    void resample(const Picture& source, Picture& out, int width, int height);

private:
    PlaneResampler luma_, chroma_;
    PlaneResampler::Scratch scratch_;
};

}  // namespace lumenwhirl
