#include "Pixels/Kernels/ConversionArithmetic.h"
#include "Pixels/Kernels/ConversionKernels.h"

#include <array>
#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Kernels/FastConversion.cpp"
#include <hwy/foreach_target.h>
// clang-format off: Highway needs this order.
#include <hwy/highway.h>
// clang-format on

HWY_BEFORE_NAMESPACE();
namespace lumenwhirl::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR

void convertRows(const std::uint8_t* upper, const std::uint8_t* lower, int width,
                 const ConversionKernels::Rows& out) {
    ConversionKernels::reference().convertRows(upper, lower, width, out);
}

#else

using Bytes = hn::ScalableTag<std::uint8_t>;
using Words = hn::Repartition<std::int16_t, Bytes>;

using Vector = hn::VFromD<Words>;

// Vectors of some instruction sets cannot be members of a struct, so they are passed one by one.

/// A component of as many pixels as vectors have bytes: of the even columns, and of the odd ones.
HWY_INLINE void split(hn::VFromD<Bytes> component, Vector& even, Vector& odd) {
    const Words words;
    const hn::RebindToUnsigned<Words> bits;
    even = hn::And(hn::BitCast(words, component), hn::Set(words, 255));
    odd = hn::BitCast(words, hn::ShiftRight<8>(hn::BitCast(bits, component)));
}

HWY_INLINE Vector weighted(Vector b, Vector g, Vector r, std::int16_t ofB, std::int16_t ofG, std::int16_t ofR) {
    const Words words;
    return hn::Add(
        hn::Add(hn::MulFixedPoint15(b, hn::Set(words, ofB)), hn::MulFixedPoint15(g, hn::Set(words, ofG))),
        hn::MulFixedPoint15(r, hn::Set(words, ofR)));
}

HWY_INLINE Vector luma(Vector b, Vector g, Vector r) {
    using namespace conversion;
    const auto sum = weighted(hn::ShiftLeft<lumaShift>(b), hn::ShiftLeft<lumaShift>(g),
                              hn::ShiftLeft<lumaShift>(r), lumaB, lumaG, lumaR);
    return hn::ShiftRight<lumaBits>(hn::Add(sum, hn::Set(Words(), lumaOffset)));
}

/// Colours of some columns, the even and the odd ones apart; odd[0] belongs left of even[0].
struct Colors {
    static constexpr int usualPixels = 1024, mostLanes = 256;  // the last ones take up to a vector more
    std::array<std::int16_t, (usualPixels + mostLanes) / 2> even;
    std::array<std::int16_t, (usualPixels + mostLanes) / 2 + 1> odd;
};

HWY_INLINE void storeColors(Vector b, Vector g, Vector r, std::int16_t* cb, std::int16_t* cr) {
    using namespace conversion;
    const Words words;
    b = hn::ShiftLeft<chromaShift>(b);
    g = hn::ShiftLeft<chromaShift>(g);
    r = hn::ShiftLeft<chromaShift>(r);
    hn::StoreU(weighted(b, g, r, cbB, cbG, cbR), words, cb);
    hn::StoreU(weighted(b, g, r, crB, crG, crR), words, cr);
}

/// Adds a row's components to those of the row above and stores its luma.
HWY_INLINE void takeRow(const std::uint8_t* row, std::uint8_t* out, Vector& evenB, Vector& oddB, Vector& evenG,
                        Vector& oddG, Vector& evenR, Vector& oddR) {
    const Bytes bytes;
    hn::VFromD<Bytes> blue, green, red, unused;
    hn::LoadInterleaved4(bytes, row, blue, green, red, unused);
    Vector b0, b1, g0, g1, r0, r1;
    split(blue, b0, b1);
    split(green, g0, g1);
    split(red, r0, r1);
    hn::StoreU(hn::BitCast(bytes, hn::Or(luma(b0, g0, r0), hn::ShiftLeft<8>(luma(b1, g1, r1)))), bytes, out);
    evenB = hn::Add(evenB, b0);
    oddB = hn::Add(oddB, b1);
    evenG = hn::Add(evenG, g0);
    oddG = hn::Add(oddG, g1);
    evenR = hn::Add(evenR, r0);
    oddR = hn::Add(oddR, r1);
}

HWY_ATTR void storeChroma(const Colors& colors, int count, std::uint8_t* out) {
    using namespace conversion;
    const Words words;
    const hn::Rebind<std::uint8_t, Words> bytes;
    const int lanes = static_cast<int>(hn::Lanes(words));
    for (int i = 0; i < count; i += lanes) {
        if (i + lanes > count) i = count - lanes;  // overlaps the one before rather than write past the end
        const auto middle = hn::LoadU(words, colors.even.data() + i);
        const auto sides =
            hn::Add(hn::LoadU(words, colors.odd.data() + i), hn::LoadU(words, colors.odd.data() + i + 1));
        const auto sum = hn::Add(hn::Add(sides, hn::Add(middle, middle)), hn::Set(words, chromaRounding));
        const auto value = hn::Add(hn::ShiftRight<chromaBits>(sum), hn::Set(words, chromaMiddle));
        hn::StoreU(hn::DemoteTo(bytes, value), bytes, out + i);
    }
}

HWY_ATTR void convertRows(const std::uint8_t* upper, const std::uint8_t* lower, int width,
                          const ConversionKernels::Rows& out) {
    const Words words;
    const int lanes = static_cast<int>(hn::Lanes(Bytes()));
    const int pairs = width / 2 * 2;
    if (pairs < lanes || lanes > Colors::mostLanes) {
        ConversionKernels::reference().convertRows(upper, lower, width, out);
        return;
    }
    Colors cb, cr;
    int end = 0;
    for (int start = 0; start < pairs; start = end) {
        end = start + Colors::usualPixels;
        if (end + lanes > pairs) end = pairs;
        for (int x = start; x < end; x += lanes) {
            if (x + lanes > end) x = end - lanes;
            auto evenB = hn::Zero(words), oddB = evenB, evenG = evenB, oddG = evenB, evenR = evenB, oddR = evenB;
            const std::ptrdiff_t offset = std::ptrdiff_t{4} * x;
            takeRow(upper + offset, out.upperLuma + x, evenB, oddB, evenG, oddG, evenR, oddR);
            takeRow(lower + offset, out.lowerLuma + x, evenB, oddB, evenG, oddG, evenR, oddR);
            const int column = (x - start) / 2;
            storeColors(evenB, evenG, evenR, cb.even.data() + column, cr.even.data() + column);
            storeColors(oddB, oddG, oddR, cb.odd.data() + column + 1, cr.odd.data() + column + 1);
        }
        if (start == 0) {
            cb.odd[0] = cb.even[0];
            cr.odd[0] = cr.even[0];
        }
        const int columns = (end - start) / 2;
        storeChroma(cb, columns, out.cb + start / 2);
        storeChroma(cr, columns, out.cr + start / 2);
        cb.odd[0] = cb.odd[static_cast<std::size_t>(columns)];
        cr.odd[0] = cr.odd[static_cast<std::size_t>(columns)];
    }
    if (pairs == width) return;
    // The last column by itself: the one right of it is the same.
    const std::uint8_t *above = upper + std::ptrdiff_t{4} * pairs, *below = lower + std::ptrdiff_t{4} * pairs;
    out.upperLuma[pairs] = out.upperLuma[pairs + 1] = conversion::luma(above[0], above[1], above[2]);
    out.lowerLuma[pairs] = out.lowerLuma[pairs + 1] = conversion::luma(below[0], below[1], below[2]);
    const conversion::Color last =
        conversion::color(above[0] + below[0], above[1] + below[1], above[2] + below[2]);
    out.cb[pairs / 2] = conversion::chroma(cb.odd[0], last.cb, last.cb);
    out.cr[pairs / 2] = conversion::chroma(cr.odd[0], last.cr, last.cr);
}

#endif

}  // namespace lumenwhirl::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace lumenwhirl {

HWY_EXPORT(convertRows);

const ConversionKernels& ConversionKernels::fastest() {
    static constexpr ConversionKernels kernels{
        [](const std::uint8_t* upper, const std::uint8_t* lower, int width, const Rows& out) {
            HWY_DYNAMIC_DISPATCH(convertRows)(upper, lower, width, out);
        }};
    return kernels;
}

}  // namespace lumenwhirl
#endif
