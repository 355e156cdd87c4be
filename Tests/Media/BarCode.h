#pragma once

#include "Media/VideoFrame.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>

/// Numbers pictures so that they are recognised after encoding, scaling and moving: 16 black or white blocks,
/// eight in each of two rows, the lowest bit first.
namespace lumenwhirl::barCode {

/// Where the code is, in luma pixels; each of the blocks should come out at least 6 pixels wide and high.
struct Area {
    double x = 0, y = 0, width = 0, height = 0;
};

inline constexpr int columns = 8, rows = 2;
inline constexpr std::uint8_t black = 16, white = 235;

[[nodiscard]] inline Area areaOf(const VideoFrame& frame) {
    return {0, 0, static_cast<double>(frame.width()), static_cast<double>(frame.height())};
}

/// Fills one plane's rectangle.
inline void fill(VideoFrame& frame, int plane, int left, int top, int right, int bottom, std::uint8_t value) {
    for (int y = top; y < bottom; ++y) {
        std::uint8_t* row = frame.mutablePlane(plane) + y * frame.stride(plane);
        std::fill(row + left, row + right, value);
    }
}

/// The whole picture in one colour.
inline void fill(VideoFrame& frame, std::uint8_t luma, std::uint8_t blue = 128, std::uint8_t red = 128) {
    fill(frame, 0, 0, 0, frame.width(), frame.height(), luma);
    fill(frame, 1, 0, 0, frame.width() / 2, frame.height() / 2, blue);
    fill(frame, 2, 0, 0, frame.width() / 2, frame.height() / 2, red);
}

/// Draws the lowest 16 bits of `number`, in luma alone.
inline void paint(VideoFrame& frame, unsigned number, const Area& area) {
    const auto edge = [](double start, double size, int index, int count) {
        return static_cast<int>(std::lround(start + size * index / count));
    };
    for (int i = 0; i < columns * rows; ++i) {
        const int column = i % columns, row = i / columns;
        fill(frame, 0, edge(area.x, area.width, column, columns), edge(area.y, area.height, row, rows),
             edge(area.x, area.width, column + 1, columns), edge(area.y, area.height, row + 1, rows),
             (number >> i & 1U) != 0 ? white : black);
    }
}

/// The number in a plane of luma, from the middles of the blocks; empty where a block is neither black nor white,
/// as in a blend of two pictures.
[[nodiscard]] inline std::optional<unsigned> read(const std::uint8_t* luma, std::ptrdiff_t stride,
                                                  const Area& area) {
    constexpr int middle = (black + white) / 2, unclear = 50;
    unsigned number = 0;
    for (int i = 0; i < columns * rows; ++i) {
        const double width = area.width / columns, height = area.height / rows;
        const double x = area.x + width * (i % columns), y = area.y + height * (i / columns);
        const auto left = static_cast<int>(std::ceil(x + width / 4)), right = static_cast<int>(x + width * 3 / 4);
        const auto top = static_cast<int>(std::ceil(y + height / 4)),
                   bottom = static_cast<int>(y + height * 3 / 4);
        long sum = 0;
        for (int row = top; row < bottom; ++row) {
            for (int column = left; column < right; ++column) sum += luma[row * stride + column];
        }
        const long mean = sum / std::max(1L, static_cast<long>(right - left) * (bottom - top));
        if (std::abs(mean - middle) < unclear) return std::nullopt;
        if (mean > middle) number |= 1U << i;
    }
    return number;
}

[[nodiscard]] inline std::optional<unsigned> read(const VideoFrame& frame, const Area& area) {
    return read(frame.plane(0), frame.stride(0), area);
}

}  // namespace lumenwhirl::barCode
