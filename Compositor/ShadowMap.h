#pragma once

#include <cstdint>
#include <vector>

namespace lumenwhirl {

/// A coverage map blurred by a Gaussian; beyond the map its edge samples repeat. The blur is computed on blocks of
/// samples, as wide as the standard deviation allows, and interpolated: shadows have no detail finer than that.
class ShadowMap {
public:
    /// `coverage`: width * height bytes, 255 opaque. `radius`: the standard deviation in samples, >= 0.
    ShadowMap(const std::vector<std::uint8_t>& coverage, int width, int height, double radius);

    /// Blurred coverage, 0...1, along the row whose centre is at `y` (0.5: the first row's centre):
    /// out[x] is at x + 0.5. `out` holds the map's width.
    void row(double y, std::vector<float>& out) const;

private:
    /// The two cells beside a position, and how far it is from the middle of the first to that of the second.
    struct Between {
        int low = 0, high = 0;
        float share = 0;
    };
    [[nodiscard]] static Between between(double position, int block, int count);

    int width_, height_, block_ = 1;  // block_: samples a cell side
    int columns_ = 0, rows_ = 0;
    std::vector<float> cells_;        // by rows, with a row and a column of edge samples on each side
    std::vector<Between> columnsOf_;  // of every sample of a row
};

}  // namespace lumenwhirl
