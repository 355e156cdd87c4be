#pragma once

#include "Pixels/Bt709.h"
#include "Pixels/Picture.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace lumenwhirl {

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
    void set(int x, const bt709::Sample& sample) {
        const auto i = static_cast<std::size_t>(x);
        y[i] = sample.y, cb[i] = sample.cb, cr[i] = sample.cr;
    }
};

/// The chroma samples of two rows: each sits on the left luma column of its pair, so the columns beside it count
/// half (1 2 1) / 4. Between the two rows with 4:2:0; on its own row, given twice, with 4:2:2. `out` has half the
/// columns.
inline void filterChroma(const std::vector<float>& upper, const std::vector<float>& lower,
                         std::vector<float>& out) {
    const float *a = upper.data(), *b = lower.data();
    const std::size_t count = out.size();
    out[0] = (3 * (a[0] + b[0]) + (a[1] + b[1])) / 8;
    for (std::size_t i = 1; i < count; ++i) {
        const std::size_t x = 2 * i;
        out[i] = (a[x - 1] + b[x - 1] + 2 * (a[x] + b[x]) + a[x + 1] + b[x + 1]) / 8;
    }
}

/// Samples in steps of PictureFormat<Sample> from values in steps of an 8-bit code. (x, y): where the first one's
/// noise is taken from.
template <Rounding rounding, class Sample>
void roundRow(const std::vector<float>& values, int x, int y, Sample* out) {
    constexpr float unit = PictureFormat<Sample>::unit;
    constexpr int highest = std::numeric_limits<std::uint8_t>::max() * PictureFormat<Sample>::unit;
    const float* in = values.data();
    const int count = static_cast<int>(values.size());
    for (int i = 0; i < count; ++i) {
        const float offset = rounding == Rounding::dithered ? ditherNoise(x + i, y) : 0.5F;
        // Values are never far below 0, so that cutting off after an offset of 256 rounds down.
        out[i] = static_cast<Sample>(std::clamp(static_cast<int>(in[i] * unit + offset + 256) - 256, 0, highest));
    }
}

/// Fills `out` from rows at full resolution: `fill(y, row)` gives row y, called once each, top to bottom.
template <class Sample, class Fill>
void writePlanes(const Planes<Sample>& out, Rounding rounding, Fill&& fill) {
    const auto write = [&](int plane, int row, const std::vector<float>& values, int x, int y) {
        Sample* samples = out[static_cast<std::size_t>(plane)].row(row);
        if (rounding == Rounding::dithered) {
            roundRow<Rounding::dithered>(values, x, y, samples);
        } else {
            roundRow<Rounding::nearest>(values, x, y, samples);
        }
    };
    std::vector<float> chroma(static_cast<std::size_t>(out[1].width));
    const auto writeChroma = [&](int row, const YuvRow& upper, const YuvRow& lower) {
        // Shifted, so that the planes' noise does not add up to a visible pattern.
        filterChroma(upper.cb, lower.cb, chroma);
        write(1, row, chroma, 37, row + 17);
        filterChroma(upper.cr, lower.cr, chroma);
        write(2, row, chroma, 71, row + 43);
    };
    YuvRow upper(out.width()), lower(out.width());
    for (int y = 0; y + 1 < out.height(); y += 2) {
        fill(y, upper);
        fill(y + 1, lower);
        write(0, y, upper.y, 0, y);
        write(0, y + 1, lower.y, 0, y + 1);
        if constexpr (PictureFormat<Sample>::chromaRowsShift == 1) {
            writeChroma(y / 2, upper, lower);
        } else {
            writeChroma(y, upper, upper);
            writeChroma(y + 1, lower, lower);
        }
    }
}

}  // namespace lumenwhirl
