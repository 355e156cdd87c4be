#include "Recorder/CapturedFrameConverter.h"

#include "Pixels/Kernels/ConversionKernels.h"
#include "Recorder/FramePlacement.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace lumenwhirl {
namespace {

int evenUp(int size) {
    return (size + 1) / 2 * 2;
}

/// Black from the column and from the row on.
void blacken(Picture& out, int plane, int fromColumn, int fromRow) {
    const int width = plane == 0 ? out.width() : out.width() / 2;
    const int height = plane == 0 ? out.height() : out.height() / 2;
    const std::uint8_t value = plane == 0 ? 16 : 128;
    for (int y = 0; y < height; ++y) {
        std::uint8_t* row = out.mutablePlane(plane) + y * out.stride(plane);
        std::fill(row + (y < fromRow ? fromColumn : 0), row + width, value);
    }
}

/// The first `width` x `height` pixels of a captured picture, into the top left of `out`.
void convertPixels(const CapturedFrame& frame, int width, int height, Picture& out) {
    const ConversionKernels& kernels = ConversionKernels::fastest();
    for (int y = 0; y < height; y += 2) {
        const std::uint8_t* upper = frame.pixels + y * frame.stride;
        const std::uint8_t* lower = y + 1 < height ? upper + frame.stride : upper;
        std::uint8_t* luma = out.mutablePlane(0) + y * out.stride(0);
        kernels.convertRows(upper, lower, width,
                            {luma, luma + out.stride(0), out.mutablePlane(1) + y / 2 * out.stride(1),
                             out.mutablePlane(2) + y / 2 * out.stride(2)});
    }
}

}  // namespace

void CapturedFrameConverter::convert(const CapturedFrame& frame, Picture& out) {
    int width = shownSide(frame.width, out.width()), height = shownSide(frame.height, out.height());
    const double scale = placementScale(width, height, out.width(), out.height());
    if (scale < 1) {
        // In planes, which are half the work of pixels.
        Picture whole = pool_.take(evenUp(width), evenUp(height), PixelFormat::yuv420p8);
        convertPixels(frame, width, height, whole);
        const auto scaled = [&](int side, int most) {
            return std::clamp(evenUp(static_cast<int>(std::lround(side * scale))), 2, most);
        };
        width = scaled(width, out.width());
        height = scaled(height, out.height());
        resampler_.resample(whole, out, width, height);
    } else {
        convertPixels(frame, width, height, out);
    }
    if (evenUp(width) == out.width() && evenUp(height) == out.height()) return;
    for (int plane = 0; plane < 3; ++plane)
        blacken(out, plane, plane == 0 ? evenUp(width) : evenUp(width) / 2,
                plane == 0 ? evenUp(height) : evenUp(height) / 2);
}

}  // namespace lumenwhirl
