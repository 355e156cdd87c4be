#pragma once

#include "Compositor/Image.h"
#include "Compositor/Picture.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace lumenwhirl {

/// A sample in video's own terms, in steps of an 8-bit code: Y 16...235, Cb and Cr 16...240. Linear in R, G and B,
/// so mixing, fading and resampling give the same in either form.
struct YuvSample {
    float y = 16, cb = 128, cr = 128;
};

/// BT.709 (Rec. ITU-R BT.709-6, items 3.2 to 3.5), limited range; `r`, `g`, `b` gamma-encoded, 0...1,
/// premultiplied by `alpha`. With alpha below 1 the sample is premultiplied too, its offsets (16, 128) included.
[[nodiscard]] inline YuvSample yuvFromRgb(float r, float g, float b, float alpha = 1) {
    const float luma = 0.2126F * r + 0.7152F * g + 0.0722F * b;
    return {16 * alpha + 219 * luma, 128 * alpha + 224 * (b - luma) / 1.8556F,
            128 * alpha + 224 * (r - luma) / 1.5748F};
}

/// Fixed noise in 0...1 whose neighbours differ much, so that it hides as dither; x and y >= 0. Interleaved
/// gradient noise (J. Jimenez, "Next generation post processing in Call of Duty: Advanced Warfare", SIGGRAPH
/// 2014).
[[nodiscard]] inline float ditherNoise(int x, int y) {
    const float v = 0.06711056F * static_cast<float>(x) + 0.00583715F * static_cast<float>(y);
    const float w = 52.9829189F * (v - static_cast<float>(static_cast<int>(v)));
    return w - static_cast<float>(static_cast<int>(w));
}

enum class Rounding { nearest, dithered };

/// One row in the three planes at full resolution, as floats.
struct YuvRow {
    std::vector<float> y, cb, cr;
    explicit YuvRow(int width)
        : y(static_cast<std::size_t>(width)),
          cb(static_cast<std::size_t>(width)),
          cr(static_cast<std::size_t>(width)) {}
    void set(int x, const YuvSample& sample) {
        const auto i = static_cast<std::size_t>(x);
        y[i] = sample.y, cb[i] = sample.cb, cr[i] = sample.cr;
    }
};

/// The chroma sample of column pair `i` of two rows: it sits on the pair's left luma column, so the columns beside
/// it count half (1 2 1) / 4. Between the two rows with 4:2:0; on its own row, given twice, with 4:2:2.
[[nodiscard]] inline float chromaAt(const std::vector<float>& upper, const std::vector<float>& lower, int i) {
    const int last = static_cast<int>(upper.size()) - 1;
    const auto sum = [&](int x) {
        const auto k = static_cast<std::size_t>(std::clamp(x, 0, last));
        return upper[k] + lower[k];
    };
    return (sum(2 * i - 1) + 2 * sum(2 * i) + sum(2 * i + 1)) / 8;
}

/// Fills `out` from rows at full resolution: `fill(y, row)` gives row y, called once each, top to bottom.
template <class Sample, class Fill>
void writePlanes(const BasicPicture<Sample>& out, Rounding rounding, Fill&& fill) {
    constexpr float unit = PictureFormat<Sample>::unit;
    constexpr int highest = std::numeric_limits<std::uint8_t>::max() * PictureFormat<Sample>::unit;
    // Values are never far below 0, so that cutting off after an offset of 256 rounds down.
    const auto sample = [&](float value, int x, int y) {
        const float offset = rounding == Rounding::dithered ? ditherNoise(x, y) : 0.5F;
        return static_cast<Sample>(std::clamp(static_cast<int>(value * unit + offset + 256) - 256, 0, highest));
    };
    const auto writeRow = [&](Sample* row, const std::vector<float>& values, int y) {
        for (int x = 0; x < out.width(); ++x) row[x] = sample(values[static_cast<std::size_t>(x)], x, y);
    };
    const auto writeChroma = [&](int y, const YuvRow& upper, const YuvRow& lower) {
        for (int i = 0; i < out.planes[1].width; ++i) {
            // Shifted, so that the planes' noise does not add up to a visible pattern.
            out.planes[1].row(y)[i] = sample(chromaAt(upper.cb, lower.cb, i), i + 37, y + 17);
            out.planes[2].row(y)[i] = sample(chromaAt(upper.cr, lower.cr, i), i + 71, y + 43);
        }
    };
    YuvRow upper(out.width()), lower(out.width());
    for (int y = 0; y + 1 < out.height(); y += 2) {
        fill(y, upper);
        fill(y + 1, lower);
        writeRow(out.planes[0].row(y), upper.y, y);
        writeRow(out.planes[0].row(y + 1), lower.y, y + 1);
        if constexpr (PictureFormat<Sample>::chromaRowsShift == 1) {
            writeChroma(y / 2, upper, lower);
        } else {
            writeChroma(y, upper, upper);
            writeChroma(y + 1, lower, lower);
        }
    }
}

}  // namespace lumenwhirl
