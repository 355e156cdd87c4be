#include "Compositor/PlaneResampler.h"

#include <algorithm>
#include <array>

namespace lumenwhirl {

void PlaneResampler::setMap(Span columns, Span rows, Axis across, Axis down, int sourceWidth, int sourceHeight) {
    const bool moved = columns_.build(
        {columns.begin, columns.end, across.step, across.origin, sourceWidth, AxisMap::Filter::sharp});
    rows_.build({rows.begin, rows.end, down.step, down.origin, sourceHeight, AxisMap::Filter::sharp});
    if (moved || tables_.map == nullptr) tables_.build(columns_);
}

template <class Sample>
void PlaneResampler::run(const StyledCanvas<Sample>& canvas, int plane, Span rows, const RowPairs& wanted,
                         const RowPairs& overlaid, const Kernels& kernels, const PlaneView& source,
                         const BasicPlane<Sample>& out, Scratch& scratch) const {
    if (columns_.count() <= 0) return;
    // Rows come several at a time, so some beyond the taps may be there before they are needed.
    constexpr int batch = Kernels::rowsAtOnce;
    const int slots = rows_.taps() + batch;
    const std::size_t pitch = tables_.paddedCount();
    scratch.ring.resize(pitch * static_cast<std::size_t>(slots));
    scratch.taps.resize(static_cast<std::size_t>(rows_.taps()));
    const auto slot = [&](int row) { return scratch.ring.data() + pitch * static_cast<std::size_t>(row % slots); };

    const Span all = canvas.rows(plane), columns = canvas.columns(plane);
    int loaded = -1;  // last source row in the ring
    for (int y = rows.begin; y < rows.end; ++y) {
        const Span span = canvas.columns(plane, y);
        if (span.isEmpty() || !wanted.containsRow<Sample>(plane, y)) continue;
        const int first = rows_.first(y - all.begin), last = first + rows_.taps() - 1;
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
            scratch.taps[static_cast<std::size_t>(k)] = slot(first + k) + (span.begin - columns.begin);
        kernels.into<Sample>().blendRows(scratch.taps.data(), rows_.weights(y - all.begin), rows_.taps(),
                                         out.row(y) + span.begin, span.end - span.begin);
        if (!overlaid.containsRow<Sample>(plane, y)) canvas.finishRow(plane, y, out.row(y));  // while it is near
    }
}

template void PlaneResampler::run(const StyledCanvas<std::uint8_t>&, int, Span, const RowPairs&, const RowPairs&,
                                  const Kernels&, const PlaneView&, const BasicPlane<std::uint8_t>&,
                                  Scratch&) const;
template void PlaneResampler::run(const StyledCanvas<std::uint16_t>&, int, Span, const RowPairs&, const RowPairs&,
                                  const Kernels&, const PlaneView&, const BasicPlane<std::uint16_t>&,
                                  Scratch&) const;

}  // namespace lumenwhirl
