#include "Pixels/PlaneResampler.h"

namespace lumenwhirl {
namespace {

/// All columns of every row, as they come.
struct WholeRows {
    int width;
    [[nodiscard]] Span columns(int) const noexcept { return {0, width}; }
    void finish(int, std::uint8_t*) const noexcept {}
};

}  // namespace

void PlaneResampler::setMap(Span columns, Span rows, Axis across, Axis down, int sourceWidth, int sourceHeight) {
    const bool moved = columns_.build(
        {columns.begin, columns.end, across.step, across.origin, sourceWidth, AxisMap::Filter::sharp});
    rows_.build({rows.begin, rows.end, down.step, down.origin, sourceHeight, AxisMap::Filter::sharp});
    if (moved || tables_.map == nullptr) tables_.build(columns_);
}

void PictureResampler::resample(const Picture& source, Picture& out, int width, int height) {
    const double across = static_cast<double>(source.width()) / width;
    const double down = static_cast<double>(source.height()) / height;
    const Planes<const std::uint8_t> from = source.planes();
    const Planes<std::uint8_t> to = out.mutablePlanes();
    // Luma sample i covers [i, i + 1). Chroma sample i sits on the left luma column of its pair, at 2i + 1/2
    // across, and between the rows of its pair, at 2i + 1 down.
    luma_.setMap({0, width}, {0, height}, {across, across / 2 - 0.5}, {down, down / 2 - 0.5}, from[0].width,
                 from[0].height);
    chroma_.setMap({0, width / 2}, {0, height / 2}, {across, (across - 1) / 4}, {down, (down - 1) / 2},
                   from[1].width, from[1].height);
    for (std::size_t p = 0; p < 3; ++p) {
        const int shift = p == 0 ? 0 : 1;
        (p == 0 ? luma_ : chroma_)
            .run({0, height >> shift}, WholeRows{width >> shift}, Kernels::fastest(), from[p], to[p], scratch_);
    }
}

}  // namespace lumenwhirl
