#pragma once

#include "Pixels/Image.h"
#include "Pixels/Picture.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <random>

namespace lumenwhirl::testing {

inline Picture flatPicture(int width, int height, Color color) {
    Image image(width, height);
    for (std::size_t i = 0; i < image.pixels.size(); i += 4) {
        image.pixels[i] = static_cast<std::uint8_t>(std::lround(255 * color.red));
        image.pixels[i + 1] = static_cast<std::uint8_t>(std::lround(255 * color.green));
        image.pixels[i + 2] = static_cast<std::uint8_t>(std::lround(255 * color.blue));
        image.pixels[i + 3] = 255;
    }
    return pictureFromImage(image);
}

inline Picture noisePicture(int width, int height, unsigned seed) {
    Picture picture(width, height, PixelFormat::yuv420p8);
    std::mt19937 random(seed);
    for (const Plane<std::uint8_t>& plane : picture.mutablePlanes().planes)
        for (int y = 0; y < plane.height; ++y)
            for (int x = 0; x < plane.width; ++x) plane.row(y)[x] = static_cast<std::uint8_t>(random() % 256);
    return picture;
}

/// The same pixels in memory of their own.
inline Picture copyOf(const Picture& picture) {
    Picture copy(picture.width(), picture.height(), PixelFormat::yuv420p8);
    for (std::size_t p = 0; p < 3; ++p) {
        const Plane<const std::uint8_t> from = picture.planes()[p];
        for (int y = 0; y < from.height; ++y) std::copy_n(from.row(y), from.width, copy.mutablePlanes()[p].row(y));
    }
    return copy;
}

/// Smooth coloured waves with a sharp grid: something of everything that resampling can get wrong.
inline Image scenery(int width, int height) {
    Image image(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            std::uint8_t* pixel = image.row(y) + std::ptrdiff_t{4} * x;
            const double u = static_cast<double>(x) / width, v = static_cast<double>(y) / height;
            const bool line = x % 24 < 2 || y % 24 < 2;
            pixel[0] = static_cast<std::uint8_t>(line ? 30 : 128 + 100 * std::sin(7 * u));
            pixel[1] = static_cast<std::uint8_t>(line ? 40 : 128 + 100 * std::cos(5 * v));
            pixel[2] = static_cast<std::uint8_t>(line ? 60 : 128 + 100 * std::sin(4 * (u + v)));
            pixel[3] = 255;
        }
    }
    return image;
}

struct Centroid {
    double x = 0, y = 0, weight = 0;
};

/// Of what `weigh(x, y)` gives, at pixel centres.
template <class Weigh>
Centroid centroid(int width, int height, Weigh&& weigh) {
    Centroid sum;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double w = weigh(x, y);
            sum.x += w * (x + 0.5), sum.y += w * (y + 0.5), sum.weight += w;
        }
    }
    return {sum.x / sum.weight, sum.y / sum.weight, sum.weight};
}

/// Where a failing test leaves its pictures to look at.
inline std::filesystem::path pictureFor(const char* name) {
    return std::filesystem::temp_directory_path() / ("lumenwhirl-" + std::string(name) + ".png");
}

}  // namespace lumenwhirl::testing
