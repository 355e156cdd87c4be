#pragma once

#include <cstdint>

/// The fixed-point arithmetic of ConversionKernels, of which every version makes the same steps.
///
/// ITU-R BT.709, 3.2 to 3.4 with R, G, B of 0...255: Y = 16 + 219/255 (0.2126 R + 0.7152 G + 0.0722 B),
/// Cb = 128 + 224/255 (B - Y') / 1.8556, Cr = 128 + 224/255 (R - Y') / 1.5748, where Y' is luma of 0...255.
/// Products are those of 16-bit fixed-point multiplication, (a * b + 2^14) >> 15. The weights are the exact ones
/// times 2^14, rounded so that white is 235 and grey has no colour.
namespace lumenwhirl::conversion {

constexpr std::int16_t lumaB = 1016, lumaG = 10064, lumaR = 2991;
constexpr std::int16_t cbB = 7196, cbG = -5547, cbR = -1649;
constexpr std::int16_t crB = -660, crG = -6536, crR = 7196;
static_assert(lumaB + lumaG + lumaR == 14071);  // 219/255 * 2^14
static_assert(cbB + cbG + cbR == 0 && crB + crG + crR == 0);

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

}  // namespace lumenwhirl::conversion
