#pragma once

#include "Pixels/AxisMap.h"
#include "Pixels/Image.h"

#include <array>
#include <vector>

namespace lumenwhirl {

/// Resamples artwork: four floats a pixel, premultiplied RGBA, 0...255. Keeps its memory between calls.
class ImageResampler {
public:
    using Pixel = std::array<float, 4>;

    /// The output ranges and source sizes of the maps are those of columns and rows; sources match `image`.
    void resample(const Image& image, const AxisMap& columns, const AxisMap& rows);
    /// Row `y` of the result, counted from the row map's first output, with the column map's count of pixels.
    [[nodiscard]] const Pixel* row(int y) const noexcept {
        return result_.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width_);
    }

private:
    int width_ = 0;
    std::vector<Pixel> source_, across_, result_;
};

}  // namespace lumenwhirl
