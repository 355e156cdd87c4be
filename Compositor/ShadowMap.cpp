#include "Compositor/ShadowMap.h"

#include <algorithm>
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

/// Blurs `count` values that lie `step` apart, repeating the ends.
void blurLine(float* values, int count, std::size_t step, const std::vector<float>& taps,
              std::vector<float>& line) {
    const int reach = static_cast<int>(taps.size() / 2);
    line.resize(static_cast<std::size_t>(count) + taps.size());
    for (int i = -reach; i <= count + reach; ++i) {
        const int inside = std::clamp(i, 0, count - 1);
        line[static_cast<std::size_t>(i + reach)] = values[static_cast<std::size_t>(inside) * step];
    }
    for (int i = 0; i < count; ++i) {
        float sum = 0;
        for (std::size_t k = 0; k < taps.size(); ++k) sum += taps[k] * line[static_cast<std::size_t>(i) + k];
        values[static_cast<std::size_t>(i) * step] = sum;
    }
}

}  // namespace

ShadowMap::ShadowMap(const std::vector<std::uint8_t>& coverage, int width, int height, double radius)
    : width_(width), height_(height) {
    // A taller-than-wide limit keeps the taps and the cells few whatever the radius.
    radius = std::clamp(radius, 0.0, 4.0 * std::max(width, height));
    block_ = std::clamp(static_cast<int>(radius / 6), 1, std::max(std::min(width, height) / 8, 1));
    columns_ = (width + block_ - 1) / block_;
    rows_ = (height + block_ - 1) / block_;
    cells_.resize(static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_));
    for (int row = 0; row < rows_; ++row) {
        for (int column = 0; column < columns_; ++column) {
            int sum = 0;
            for (int dy = 0; dy < block_; ++dy) {
                const auto y = static_cast<std::size_t>(std::min(row * block_ + dy, height - 1));
                for (int dx = 0; dx < block_; ++dx) {
                    const auto x = static_cast<std::size_t>(std::min(column * block_ + dx, width - 1));
                    sum += coverage[y * static_cast<std::size_t>(width) + x];
                }
            }
            cells_[static_cast<std::size_t>(row) * static_cast<std::size_t>(columns_) +
                   static_cast<std::size_t>(column)] =
                static_cast<float>(sum) / (255.0F * static_cast<float>(block_ * block_));
        }
    }
    // Averaging blocks and interpolating between them blur too: variances (b² - 1) / 12 and b² / 6 of b samples.
    const double b = block_;
    const double rest = radius * radius - (block_ > 1 ? (b * b - 1) / 12 + b * b / 6 : 0);
    const std::vector<float> taps = gaussian(std::sqrt(std::max(rest, 0.0)) / b);
    std::vector<float> line;
    for (int row = 0; row < rows_; ++row)
        blurLine(cells_.data() + static_cast<std::size_t>(row) * static_cast<std::size_t>(columns_), columns_, 1,
                 taps, line);
    for (int column = 0; column < columns_; ++column)
        blurLine(cells_.data() + column, rows_, static_cast<std::size_t>(columns_), taps, line);
    for (int x = 0; x < width; ++x) columnsOf_.push_back(between(x + 0.5, block_, columns_));
}

ShadowMap::Between ShadowMap::between(double position, int block, int count) {
    const double cell = position / block - 0.5, floor = std::floor(cell);
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
