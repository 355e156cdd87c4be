#pragma once

/// ITU-R BT.709-6 in limited range: luma 16...235, chroma 16...240 about 128, in steps of an 8-bit code.
///
///     Y' = kr R' + kg G' + kb B'        Cb = (B' - Y') / (2 (1 - kb))        Cr = (R' - Y') / (2 (1 - kr))
///
/// (items 3.2 and 3.3), with R', G', B' gamma-encoded, 0...1.
namespace lumenwhirl::bt709 {

inline constexpr float kr = 0.2126F, kg = 0.7152F, kb = 0.0722F;
inline constexpr float cbRange = 1.8556F, crRange = 1.5748F;  // 2 (1 - kb) and 2 (1 - kr)

/// A sample in video's own terms. Linear in R', G' and B', so mixing, fading and resampling give the same in
/// either form.
struct Sample {
    float y = 16, cb = 128, cr = 128;
};

/// Premultiplied by `alpha`: with alpha below 1 the sample is premultiplied too, its offsets (16, 128) included.
[[nodiscard]] inline Sample fromRgb(float r, float g, float b, float alpha = 1) {
    const float luma = kr * r + kg * g + kb * b;
    return {16 * alpha + 219 * luma, 128 * alpha + 224 * (b - luma) / cbRange,
            128 * alpha + 224 * (r - luma) / crRange};
}

/// The weights of R', G' and B' of 0...255 in fixed point, where `one` stands for 1.
struct FixedWeights {
    int yr, yg, yb, cbr, cbg, cbb, crr, crg, crb;
};
[[nodiscard]] constexpr FixedWeights fixedWeights(double one) {
    constexpr double red = 0.2126, green = 0.7152, blue = 0.0722;
    const double y = 219.0 / 255 * one, cb = 224.0 / 255 / 1.8556 * one, cr = 224.0 / 255 / 1.5748 * one;
    const auto rounded = [](double value) { return static_cast<int>(value < 0 ? value - 0.5 : value + 0.5); };
    FixedWeights weights{};
    weights.yr = rounded(red * y), weights.yg = rounded(green * y), weights.yb = rounded(blue * y);
    weights.cbr = rounded(-red * cb), weights.cbg = rounded(-green * cb);
    weights.cbb = -weights.cbr - weights.cbg;  // so that greys have no colour
    weights.crg = rounded(-green * cr), weights.crb = rounded(-blue * cr);
    weights.crr = -weights.crg - weights.crb;
    return weights;
}

/// The weights for R', G' and B' of 0...255 from codes of 8 bits less their offsets, in fixed point.
struct InverseWeights {
    int luma, red, blue, greenCb, greenCr;
};
[[nodiscard]] constexpr InverseWeights inverseWeights(double one) {
    constexpr double wr = 0.2126, wg = 0.7152, wb = 0.0722;
    const auto rounded = [](double value) { return static_cast<int>(value < 0 ? value - 0.5 : value + 0.5); };
    const double red = 1.5748 * 255 / 224 * one, blue = 1.8556 * 255 / 224 * one;
    return {rounded(255.0 / 219 * one), rounded(red), rounded(blue), rounded(-wb / wg * blue),
            rounded(-wr / wg * red)};
}

}  // namespace lumenwhirl::bt709
