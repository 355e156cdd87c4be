#include "Pixels/Kernels/ConversionArithmetic.h"
#include "Pixels/Kernels/ConversionKernels.h"

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

}  // namespace

const ConversionKernels& ConversionKernels::reference() {
    static constexpr ConversionKernels kernels{plainConvertRows};
    return kernels;
}

}  // namespace lumenwhirl
