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
void pixelRow(const ConversionKernels::PlaneRows& rows, int width, std::uint8_t* out) {
    ConversionKernels::reference().pixelRow(rows, width, out);
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

/// A chroma plane's samples times 4 at some columns of a row, and the one right of them.
using ChromaColumns = std::array<std::int16_t, (Colors::usualPixels + Colors::mostLanes) / 2 + 1>;

HWY_ATTR void loadChroma(const std::uint8_t* near, const std::uint8_t* other, int count, bool isLast,
                         ChromaColumns& out) {
    const Words words;
    const hn::Rebind<std::uint8_t, Words> bytes;
    const int lanes = static_cast<int>(hn::Lanes(words));
    for (int i = 0; i < count; i += lanes) {
        if (i + lanes > count) i = count - lanes;
        const auto a = hn::PromoteTo(words, hn::LoadU(bytes, near + i));
        const auto b = hn::PromoteTo(words, hn::LoadU(bytes, other + i));
        hn::StoreU(hn::Add(hn::Add(a, b), hn::Add(a, a)), words, out.data() + i);
    }
    const auto end = static_cast<std::size_t>(count);
    out[end] = isLast ? out[end - 1] : static_cast<std::int16_t>(conversion::nearRow(near[count], other[count]));
}

/// Even and odd columns of one component, clamped, as bytes in their order.
HWY_INLINE hn::VFromD<Bytes> joined(Vector even, Vector odd) {
    const Words words;
    const auto clamped = [&](Vector v) HWY_ATTR {
        return hn::Min(hn::Max(hn::ShiftRight<conversion::pixelBits>(v), hn::Zero(words)), hn::Set(words, 255));
    };
    return hn::BitCast(Bytes(), hn::Or(clamped(even), hn::ShiftLeft<8>(clamped(odd))));
}

HWY_ATTR void pixelRow(const ConversionKernels::PlaneRows& rows, int width, std::uint8_t* out) {
    using namespace conversion;
    const Words words;
    const Bytes bytes;
    const int lanes = static_cast<int>(hn::Lanes(bytes));
    if (width < lanes || width % 2 != 0 || lanes > Colors::mostLanes) {
        ConversionKernels::reference().pixelRow(rows, width, out);
        return;
    }
    const auto middle = hn::Set(words, chromaShares * chromaMiddle);
    const auto times = [&](Vector v, std::int16_t weight)
                           HWY_ATTR { return hn::MulFixedPoint15(v, hn::Set(words, weight)); };
    const auto opaque = hn::Set(bytes, 255);
    ChromaColumns cb, cr;
    int end = 0;
    for (int start = 0; start < width; start = end) {
        end = start + Colors::usualPixels;
        if (end + lanes > width) end = width;
        const int columns = (end - start) / 2, at = start / 2;
        loadChroma(rows.cb + at, rows.otherCb + at, columns, end == width, cb);
        loadChroma(rows.cr + at, rows.otherCr + at, columns, end == width, cr);
        for (int x = start; x < end; x += lanes) {
            if (x + lanes > end) x = end - lanes;
            const int column = (x - start) / 2;
            Vector evenY, oddY;
            split(hn::LoadU(bytes, rows.luma + x), evenY, oddY);
            const auto light = [&](Vector luma) HWY_ATTR {
                return hn::Add(times(hn::ShiftLeft<7>(luma), lumaWeight), hn::Set(words, pixelOffset));
            };
            evenY = light(evenY);
            oddY = light(oddY);
            const auto even = [&](const ChromaColumns& chroma) HWY_ATTR {
                const auto here = hn::LoadU(words, chroma.data() + column);
                return hn::ShiftLeft<4>(hn::Sub(hn::Add(here, here), middle));
            };
            const auto odd = [&](const ChromaColumns& chroma) HWY_ATTR {
                const auto both = hn::Add(hn::LoadU(words, chroma.data() + column),
                                          hn::LoadU(words, chroma.data() + column + 1));
                return hn::ShiftLeft<4>(hn::Sub(both, middle));
            };
            const auto evenB = even(cb), evenR = even(cr), oddB = odd(cb), oddR = odd(cr);
            const auto red =
                joined(hn::Add(evenY, times(evenR, redWeight)), hn::Add(oddY, times(oddR, redWeight)));
            const auto green = joined(hn::Add(hn::Add(evenY, times(evenB, greenCb)), times(evenR, greenCr)),
                                      hn::Add(hn::Add(oddY, times(oddB, greenCb)), times(oddR, greenCr)));
            const auto blue =
                joined(hn::Add(evenY, times(evenB, blueWeight)), hn::Add(oddY, times(oddB, blueWeight)));
            hn::StoreInterleaved4(red, green, blue, opaque, bytes, out + std::ptrdiff_t{4} * x);
        }
    }
}

#endif

}  // namespace lumenwhirl::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace lumenwhirl {

HWY_EXPORT(convertRows);
HWY_EXPORT(pixelRow);

const ConversionKernels& ConversionKernels::fastest() {
    static constexpr ConversionKernels kernels{
        [](const std::uint8_t* upper, const std::uint8_t* lower, int width, const Rows& out) {
            HWY_DYNAMIC_DISPATCH(convertRows)(upper, lower, width, out);
        },
        [](const PlaneRows& rows, int width, std::uint8_t* out) {
            HWY_DYNAMIC_DISPATCH(pixelRow)(rows, width, out);
        }};
    return kernels;
}

}  // namespace lumenwhirl
#endif
