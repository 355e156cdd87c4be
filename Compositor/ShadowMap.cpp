#include "Compositor/ShadowMap.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace lumenwhirl {
namespace {

std::vector<float> gaussian(double deviation) {
    if (!(deviation > 0.01)) return {1};
    const int reach = static_cast<int>(std::ceil(3.5 * deviation));
    std::vector<float> taps;
    double sum = 0;
    for (int k = -reach; k <= reach; ++k) sum += std::exp(-0.5 * k * k / (deviation * deviation));
    for (int k = -reach; k <= reach; ++k)
        taps.push_back(static_cast<float>(std::exp(-0.5 * k * k / (deviation * deviation)) / sum));
    return taps;
}

/// Blurs `count` values, repeating the ends. Written so that compilers make vectors of it.
void blurLine(float* values, int count, const std::vector<float>& taps, std::vector<float>& line) {
    constexpr int chunk = 64;
    const std::size_t reach = taps.size() / 2, length = static_cast<std::size_t>(count);
    line.assign(length + taps.size() + chunk, values[count - 1]);
    std::fill_n(line.begin(), reach, values[0]);
    std::copy_n(values, length, line.begin() + static_cast<std::ptrdiff_t>(reach));
    for (std::size_t start = 0; start < length; start += chunk) {
        std::array<float, chunk> sums{};
        for (std::size_t k = 0; k < taps.size(); ++k) {
            const float* in = line.data() + start + k;
            for (std::size_t i = 0; i < chunk; ++i) sums[i] += taps[k] * in[i];
        }
        std::copy_n(sums.begin(), std::min<std::size_t>(chunk, length - start), values + start);
    }
}

/// The transpose of rows * columns values.
std::vector<float> transposed(const std::vector<float>& values, std::size_t rows, std::size_t columns) {
    std::vector<float> result(values.size());
    for (std::size_t row = 0; row < rows; ++row)
        for (std::size_t column = 0; column < columns; ++column)
            result[column * rows + row] = values[row * columns + column];
    return result;
}

}  // namespace

ShadowMap::ShadowMap(const std::vector<std::uint8_t>& coverage, int width, int height, double radius)
    : width_(width), height_(height) {
    // A taller-than-wide limit keeps the taps and the cells few whatever the radius.
    radius = std::clamp(radius, 0.0, 4.0 * std::max(width, height));
    block_ = std::clamp(static_cast<int>(radius / 5), 1, std::max(std::min(width, height) / 8, 1));
    columns_ = (width + block_ - 1) / block_ + 2;
    rows_ = (height + block_ - 1) / block_ + 2;
    std::vector<int> sums(static_cast<std::size_t>(width));
    for (int row = 0; row < rows_; ++row) {
        std::ranges::fill(sums, 0);
        for (int dy = 0; dy < block_; ++dy) {
            const int y = std::clamp((row - 1) * block_ + dy, 0, height - 1);
            const std::uint8_t* in = coverage.data() + static_cast<std::size_t>(y) * sums.size();
            for (std::size_t x = 0; x < sums.size(); ++x) sums[x] += in[x];
        }
        for (int column = 0; column < columns_; ++column) {
            int sum = 0;
            for (int dx = 0; dx < block_; ++dx)
                sum += sums[static_cast<std::size_t>(std::clamp((column - 1) * block_ + dx, 0, width - 1))];
            cells_.push_back(static_cast<float>(sum) / (255.0F * static_cast<float>(block_ * block_)));
        }
    }
    // Averaging blocks and interpolating between them blur too: variances (b² - 1) / 12 and b² / 6 of b samples.
    const double b = block_;
    const double rest = radius * radius - (block_ > 1 ? (b * b - 1) / 12 + b * b / 6 : 0);
    const std::vector<float> taps = gaussian(std::sqrt(std::max(rest, 0.0)) / b);
    std::vector<float> line;
    const auto columns = static_cast<std::size_t>(columns_), rows = static_cast<std::size_t>(rows_);
    for (std::size_t row = 0; row < rows; ++row) blurLine(cells_.data() + row * columns, columns_, taps, line);
    cells_ = transposed(cells_, rows, columns);
    for (std::size_t column = 0; column < columns; ++column)
        blurLine(cells_.data() + column * rows, rows_, taps, line);
    cells_ = transposed(cells_, columns, rows);
    for (int x = 0; x < width; ++x) columnsOf_.push_back(between(x + 0.5, block_, columns_));
}

ShadowMap::Between ShadowMap::between(double position, int block, int count) {
    const double cell = position / block + 0.5, floor = std::floor(cell);  // cell 0 lies before the first sample
    return {std::clamp(static_cast<int>(floor), 0, count - 1),
            std::clamp(static_cast<int>(floor) + 1, 0, count - 1), static_cast<float>(cell - floor)};
}

void ShadowMap::row(double y, std::vector<float>& out) const {
    const Between rows = between(std::clamp(y, 0.0, static_cast<double>(height_)), block_, rows_);
    const float* upper = cells_.data() + static_cast<std::size_t>(rows.low) * static_cast<std::size_t>(columns_);
    const float* lower = cells_.data() + static_cast<std::size_t>(rows.high) * static_cast<std::size_t>(columns_);
    std::vector<float> line(static_cast<std::size_t>(columns_));
    for (std::size_t i = 0; i < line.size(); ++i) line[i] = upper[i] + rows.share * (lower[i] - upper[i]);
    out.resize(static_cast<std::size_t>(width_));
    for (std::size_t x = 0; x < out.size(); ++x) {
        const float left = line[static_cast<std::size_t>(columnsOf_[x].low)];
        const float right = line[static_cast<std::size_t>(columnsOf_[x].high)];
        out[x] = left + columnsOf_[x].share * (right - left);
    }
}

}  // namespace lumenwhirl
