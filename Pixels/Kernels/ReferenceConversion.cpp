#include "Pixels/Kernels/ConversionArithmetic.h"
#include "Pixels/Kernels/ConversionKernels.h"

#include <algorithm>
#include <cstddef>

namespace lumenwhirl {
namespace {

void plainConvertRows(const std::uint8_t* upper, const std::uint8_t* lower, int width,
                      const ConversionKernels::Rows& out) {
    const auto lumaAt = [](const std::uint8_t* row, int x) {
        const std::uint8_t* pixel = row + std::ptrdiff_t{4} * x;
        return conversion::luma(pixel[0], pixel[1], pixel[2]);
    };
    const auto colorAt = [&](int x) {
        const std::uint8_t *a = upper + std::ptrdiff_t{4} * x, *b = lower + std::ptrdiff_t{4} * x;
        return conversion::color(a[0] + b[0], a[1] + b[1], a[2] + b[2]);
    };
    conversion::Color left = colorAt(0);
    for (int x = 0; x < width; x += 2) {
        const int next = x + 1 < width ? x + 1 : x;
        out.upperLuma[x] = lumaAt(upper, x);
        out.upperLuma[x + 1] = lumaAt(upper, next);
        out.lowerLuma[x] = lumaAt(lower, x);
        out.lowerLuma[x + 1] = lumaAt(lower, next);
        const conversion::Color middle = colorAt(x), right = colorAt(next);
        out.cb[x / 2] = conversion::chroma(left.cb, middle.cb, right.cb);
        out.cr[x / 2] = conversion::chroma(left.cr, middle.cr, right.cr);
        left = right;
    }
}

void plainPixelRow(const ConversionKernels::PlaneRows& rows, int width, std::uint8_t* out) {
    const int last = width / 2 - 1;
    const auto at = [&](const std::uint8_t* near, const std::uint8_t* other, int x) {
        const int left = x / 2, right = std::min(left + x % 2, last);
        return conversion::nearRow(near[left], other[left]) + conversion::nearRow(near[right], other[right]);
    };
    for (int x = 0; x < width; ++x, out += 4) {
        const conversion::Pixel pixel =
            conversion::pixel(rows.luma[x], at(rows.cb, rows.otherCb, x), at(rows.cr, rows.otherCr, x));
        out[0] = static_cast<std::uint8_t>(std::clamp(pixel.red, 0, 255));
        out[1] = static_cast<std::uint8_t>(std::clamp(pixel.green, 0, 255));
        out[2] = static_cast<std::uint8_t>(std::clamp(pixel.blue, 0, 255));
        out[3] = 255;
    }
}

}  // namespace

const ConversionKernels& ConversionKernels::reference() {
    static constexpr ConversionKernels kernels{plainConvertRows, plainPixelRow};
    return kernels;
}

}  // namespace lumenwhirl
