#pragma once

#include <cstdint>

namespace lumenwhirl {

/// Between four-byte pixels (full range) and 4:2:0 planes (BT.709, limited range, left-sited chroma), within 1 of
/// the exact values. `reference()` is plain C++ and defines the results; `fastest()` gives the same bytes with the
/// best instructions this processor has. Stateless, callable from any thread.
struct ConversionKernels {
    /// Where a pair of rows goes.
    struct Rows {
        std::uint8_t *upperLuma, *lowerLuma, *cb, *cr;
    };
    /// Two rows of `width` pixels (blue, green, red, unused), which may be the same. Writes `width` samples of
    /// luma a row, rounded up to even by repeating the last pixel, and half as many of chroma: the mean of both
    /// rows, across weighted 1 2 1 around the left one of two columns.
    void (*convertRows)(const std::uint8_t* upper, const std::uint8_t* lower, int width, const Rows& out);

    /// The planes' rows that one row of pixels is made of.
    struct PlaneRows {
        const std::uint8_t *luma, *cb, *cr;     // chroma of the same pair of rows: three quarters
        const std::uint8_t *otherCb, *otherCr;  // of the pair beside it that is nearer: one quarter
    };
    /// A row of `width` pixels (even, at least 2) as red, green, blue, 255.
    void (*pixelRow)(const PlaneRows& rows, int width, std::uint8_t* out);

    [[nodiscard]] static const ConversionKernels& reference();
    [[nodiscard]] static const ConversionKernels& fastest();
};

}  // namespace lumenwhirl
