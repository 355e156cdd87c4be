#include "Compositor/OverlayTile.h"

#include "Pixels/PlaneWriting.h"

#include <algorithm>
#include <cmath>

namespace lumenwhirl {

template <class Sample>
void OverlayTile<Sample>::fit(int width, int height) {
    if (color_.width() == width && color_.height() == height) return;
    color_ = Picture(width, height, PictureFormat<Sample>::pixelFormat);
    coverage_ = Picture(width, height, PictureFormat<Sample>::pixelFormat);
}

template <class Sample>
void OverlayTile<Sample>::assign(const Image& image) {
    fit(image.width, image.height);
    const auto read = [&](int y, auto&& set) {
        const std::uint8_t* in = image.row(y);
        for (int x = 0; x < image.width; ++x, in += 4)
            set(x, in[0] / 255.0F, in[1] / 255.0F, in[2] / 255.0F, in[3] / 255.0F);
    };
    writePlanes(color_.mutablePlanes<Sample>(), Rounding::nearest, [&](int y, YuvRow& row) {
        read(y, [&](int x, float r, float g, float b, float a) { row.set(x, bt709::fromRgb(r, g, b, a)); });
    });
    writePlanes(coverage_.mutablePlanes<Sample>(), Rounding::nearest, [&](int y, YuvRow& row) {
        read(y, [&](int x, float, float, float, float a) { row.set(x, {255 * a, 255 * a, 255 * a}); });
    });
}

template <class Sample>
void OverlayTile<Sample>::assign(const ImageResampler& pixels, int width, int height) {
    fit(width, height);
    writePlanes(color_.mutablePlanes<Sample>(), Rounding::nearest, [&](int y, YuvRow& row) {
        const ImageResampler::Pixel* in = pixels.row(y);
        for (int x = 0; x < width; ++x, ++in)
            row.set(x, bt709::fromRgb((*in)[0] / 255, (*in)[1] / 255, (*in)[2] / 255, (*in)[3] / 255));
    });
    writePlanes(coverage_.mutablePlanes<Sample>(), Rounding::nearest, [&](int y, YuvRow& row) {
        const ImageResampler::Pixel* in = pixels.row(y);
        for (int x = 0; x < width; ++x, ++in) row.set(x, {(*in)[3], (*in)[3], (*in)[3]});
    });
}

template <class Sample>
void OverlayTile<Sample>::draw(const StyledCanvas<Sample>& canvas, const Kernels& kernels, int x, int y,
                               double opacity, const RowPairs& wanted, const Planes<Sample>& out) const {
    const int strength = static_cast<int>(std::lround(std::clamp(opacity, 0.0, 1.0) * 256));
    if (strength == 0) return;
    for (int p = 0; p < 3; ++p) {
        const auto plane = static_cast<std::size_t>(p);
        const Plane<const Sample> color = color_.planes<Sample>()[plane];
        const Plane<const Sample> coverage = coverage_.planes<Sample>()[plane];
        const int left = p == 0 ? x : x / 2, top = p == 0 ? y : y >> PictureFormat<Sample>::chromaRowsShift;
        const Span rows = canvas.rows(p);
        const int lastRow = std::min(rows.end, top + color.height);
        for (int row = std::max(rows.begin, top); row < lastRow; ++row) {
            if (!wanted.containsRow<Sample>(p, row)) continue;
            const Span span = canvas.columns(p, row);
            const int begin = std::max(span.begin, left), end = std::min(span.end, left + color.width);
            if (begin >= end) continue;
            kernels.into<Sample>().overlayRow(out[plane].row(row) + begin, color.row(row - top) + (begin - left),
                                              coverage.row(row - top) + (begin - left), strength, end - begin);
        }
    }
}

template class OverlayTile<std::uint8_t>;
template class OverlayTile<std::uint16_t>;

}  // namespace lumenwhirl
