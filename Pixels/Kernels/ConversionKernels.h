#pragma once

#include <cstdint>

namespace lumenwhirl {

/// Four-byte pixels (blue, green, red, unused; full range) to 4:2:0 planes (BT.709, limited range,
/// left-sited chroma), within 1 of the exact values. `reference()` is plain C++ and defines the results;
/// `fastest()` gives the same bytes with the best instructions this processor has. Stateless, callable from any
/// thread.
struct ConversionKernels {
    /// Where a pair of rows goes.
    struct Rows {
        std::uint8_t *upperLuma, *lowerLuma, *cb, *cr;
    };
    /// Two rows of `width` pixels, which may be the same. Writes `width` samples of luma a row, rounded up to even
    /// by repeating the last pixel, and half as many of chroma: the mean of both rows, across weighted 1 2 1
    /// around the left one of two columns.
    void (*convertRows)(const std::uint8_t* upper, const std::uint8_t* lower, int width, const Rows& out);

    [[nodiscard]] static const ConversionKernels& reference();
    [[nodiscard]] static const ConversionKernels& fastest();
};

}  // namespace lumenwhirl
