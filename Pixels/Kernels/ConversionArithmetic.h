#pragma once

#include "Pixels/Bt709.h"

#include <cstdint>

/// The fixed-point arithmetic of ConversionKernels, of which every version makes the same steps.
///
/// Products are those of 16-bit fixed-point multiplication, (a * b + 2^14) >> 15, with weights times 2^14.
namespace lumenwhirl::conversion {

constexpr bt709::FixedWeights weights = bt709::fixedWeights(1 << 14);
constexpr std::int16_t lumaB = weights.yb, lumaG = weights.yg, lumaR = weights.yr;
constexpr std::int16_t cbB = weights.cbb, cbG = weights.cbg, cbR = weights.cbr;
constexpr std::int16_t crB = weights.crb, crG = weights.crg, crR = weights.crr;
static_assert(lumaB + lumaG + lumaR == 14071);  // 219/255 * 2^14: white is 235

constexpr int lumaShift = 7;    // components times 2^7 are multiplied
constexpr int chromaShift = 6;  // sums of two rows' components times 2^6
constexpr int lumaBits = 6;     // fractional bits of the products' sum
constexpr int chromaBits = 8;   // the same of two rows' colours weighted 1 2 1
constexpr std::int16_t lumaOffset = (16 << lumaBits) + (1 << (lumaBits - 1));
constexpr std::int16_t chromaRounding = 1 << (chromaBits - 1);  // 128 is added last, or 16 bits would not do
constexpr int chromaMiddle = 128;

inline int product(int a, int b) {
    return (a * b + (1 << 14)) >> 15;
}

inline std::uint8_t luma(int b, int g, int r) {
    const int sum =
        product(b << lumaShift, lumaB) + product(g << lumaShift, lumaG) + product(r << lumaShift, lumaR);
    return static_cast<std::uint8_t>((sum + lumaOffset) >> lumaBits);
}

/// Two rows' colour in one column, from the sums of their components.
struct Color {
    std::int16_t cb, cr;
};
inline Color color(int b, int g, int r) {
    b <<= chromaShift, g <<= chromaShift, r <<= chromaShift;
    return {static_cast<std::int16_t>(product(b, cbB) + product(g, cbG) + product(r, cbR)),
            static_cast<std::int16_t>(product(b, crB) + product(g, crG) + product(r, crR))};
}

inline std::uint8_t chroma(int left, int middle, int right) {
    return static_cast<std::uint8_t>(((left + 2 * middle + right + chromaRounding) >> chromaBits) + chromaMiddle);
}

// Back again. Luma times 2^7 and chroma less its middle times 2^7 are multiplied with weights times 2^13; sums
// have `pixelBits` fractional bits. A chroma value at one column is a sum of `chromaShares` samples.
constexpr bt709::InverseWeights inverse = bt709::inverseWeights(1 << 13);
constexpr int pixelBits = 5, chromaShares = 8;
constexpr std::int16_t lumaWeight = inverse.luma, redWeight = inverse.red, blueWeight = inverse.blue;
constexpr std::int16_t greenCb = inverse.greenCb, greenCr = inverse.greenCr;
constexpr std::int16_t pixelOffset = (1 << (pixelBits - 1)) - ((16 * lumaWeight) >> (13 - pixelBits));

/// Three quarters of one chroma sample and a quarter of another, times 4.
inline int nearRow(int near, int other) {
    return 3 * near + other;
}

struct Pixel {
    int red, green, blue;  // may lie beyond 0...255
};
/// `cb` and `cr`: sums of chromaShares samples.
inline Pixel pixel(int luma, int cb, int cr) {
    const int light = product(luma << 7, lumaWeight) + pixelOffset;
    const int b = (cb - chromaShares * chromaMiddle) << 4, r = (cr - chromaShares * chromaMiddle) << 4;
    return {(light + product(r, redWeight)) >> pixelBits,
            (light + product(b, greenCb) + product(r, greenCr)) >> pixelBits,
            (light + product(b, blueWeight)) >> pixelBits};
}

}  // namespace lumenwhirl::conversion
