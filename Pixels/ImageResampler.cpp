#include "Pixels/ImageResampler.h"

#include <algorithm>
#include <cstddef>

namespace lumenwhirl {
namespace {

constexpr float weightUnit = 1.0F / (1 << AxisMap::weightBits);

}  // namespace

void ImageResampler::resample(const Image& image, const AxisMap& columns, const AxisMap& rows) {
    width_ = columns.count();
    const int height = rows.count();
    if (width_ <= 0 || height <= 0) return;
    const auto width = static_cast<std::size_t>(width_);
    const int firstRow = rows.first(0), lastRow = rows.first(height - 1) + rows.taps();

    // Samples become floats once a row rather than once a tap.
    const int firstColumn = columns.first(0), lastColumn = columns.first(width_ - 1) + columns.taps();
    source_.resize(static_cast<std::size_t>(lastColumn - firstColumn));
    across_.resize(width * static_cast<std::size_t>(lastRow - firstRow));
    for (int y = firstRow; y < lastRow; ++y) {
        const std::uint8_t* in = image.row(y) + std::ptrdiff_t{4} * firstColumn;
        for (Pixel& pixel : source_)
            for (float& component : pixel) component = static_cast<float>(*in++);
        Pixel* out = across_.data() + static_cast<std::size_t>(y - firstRow) * width;
        for (int x = 0; x < width_; ++x) {
            const Pixel* tap = source_.data() + (columns.first(x) - firstColumn);
            const std::int16_t* weights = columns.weights(x);
            Pixel sum{};
            for (int k = 0; k < columns.taps(); ++k) {
                const float weight = static_cast<float>(weights[k]) * weightUnit;
                for (std::size_t c = 0; c < 4; ++c) sum[c] += weight * tap[k][c];
            }
            out[x] = sum;
        }
    }

    result_.assign(width * static_cast<std::size_t>(height), Pixel{});
    for (int y = 0; y < height; ++y) {
        Pixel* out = result_.data() + static_cast<std::size_t>(y) * width;
        for (int k = 0; k < rows.taps(); ++k) {
            const float weight = static_cast<float>(rows.weights(y)[k]) * weightUnit;
            if (weight == 0) continue;
            const Pixel* in = across_.data() + static_cast<std::size_t>(rows.first(y) + k - firstRow) * width;
            for (std::size_t x = 0; x < width; ++x)
                for (std::size_t c = 0; c < 4; ++c) out[x][c] += weight * in[x][c];
        }
    }
}

}  // namespace lumenwhirl
