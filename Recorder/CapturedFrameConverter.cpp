#include "Recorder/CapturedFrameConverter.h"

#include "Pixels/Kernels/ConversionKernels.h"
#include "Recorder/FramePlacement.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace lumenwhirl {
namespace {

using Pixels = PictureScaler::Pixels;

int evenUp(int size) {
    return (size + 1) / 2 * 2;
}

/// Black from the column and from the row on.
void blacken(VideoFrame& out, int plane, int fromColumn, int fromRow) {
    const int width = plane == 0 ? out.width() : out.width() / 2;
    const int height = plane == 0 ? out.height() : out.height() / 2;
    const std::uint8_t value = plane == 0 ? 16 : 128;
    for (int y = 0; y < height; ++y) {
        std::uint8_t* row = out.mutablePlane(plane) + y * out.stride(plane);
        std::fill(row + (y < fromRow ? fromColumn : 0), row + width, value);
    }
}

}  // namespace

void CapturedFrameConverter::convert(const CapturedFrame& frame, VideoFrame& out) {
    Pixels picture{frame.pixels, frame.stride, shownSide(frame.width, out.width()),
                   shownSide(frame.height, out.height())};
    if (const double scale = placementScale(picture.width, picture.height, out.width(), out.height()); scale < 1) {
        const auto scaled = [&](int size, int most) {
            return std::clamp(static_cast<int>(std::lround(size * scale)), 1, most);
        };
        picture = scaler_.scale(picture, scaled(picture.width, out.width()), scaled(picture.height, out.height()));
    }
    const ConversionKernels& kernels = ConversionKernels::fastest();
    for (int y = 0; y < picture.height; y += 2) {
        const std::uint8_t* upper = picture.data + y * picture.stride;
        const std::uint8_t* lower = y + 1 < picture.height ? upper + picture.stride : upper;
        std::uint8_t* luma = out.mutablePlane(0) + y * out.stride(0);
        kernels.convertRows(upper, lower, picture.width,
                            {luma, luma + out.stride(0), out.mutablePlane(1) + y / 2 * out.stride(1),
                             out.mutablePlane(2) + y / 2 * out.stride(2)});
    }
    const int width = evenUp(picture.width), height = evenUp(picture.height);
    if (width == out.width() && height == out.height()) return;
    for (int plane = 0; plane < 3; ++plane)
        blacken(out, plane, plane == 0 ? width : width / 2, plane == 0 ? height : height / 2);
}

}  // namespace lumenwhirl
