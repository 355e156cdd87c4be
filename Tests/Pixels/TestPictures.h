#pragma once

#include "Engine/Geometry/Shapes.h"
#include "Pixels/Image.h"
#include "Pixels/Picture.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
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

/// Slow waves, others in each plane, at a place in luma pixels: any error in the placement of luma or chroma
/// shifts them.
inline double wave(std::size_t plane, double x, double y) {
    const auto phase = static_cast<double>(plane);
    return 120 + 60 * std::sin(0.021 * x + 0.7 * phase) * std::cos(0.017 * y - 0.4 * phase);
}

/// Where a sample sits: chroma on the left, and between rows where it has half as many.
template <class Sample>
Point siteOf(std::size_t plane, int x, int y) {
    const bool hasAllRows = plane == 0 || PictureFormat<Sample>::chromaRowsShift == 0;
    return {plane == 0 ? x + 0.5 : 2 * x + 0.5, hasAllRows ? y + 0.5 : 2 * y + 1.0};
}

inline Picture wavePicture(int width, int height) {
    Picture picture(width, height, PixelFormat::yuv420p8);
    for (std::size_t p = 0; p < 3; ++p) {
        const Plane<std::uint8_t> plane = picture.mutablePlanes()[p];
        for (int y = 0; y < plane.height; ++y) {
            for (int x = 0; x < plane.width; ++x) {
                const Point site = siteOf<std::uint8_t>(p, x, y);
                plane.row(y)[x] = static_cast<std::uint8_t>(std::lround(wave(p, site.x, site.y)));
            }
        }
    }
    return picture;
}

/// The largest error of waves that were moved and scaled, in steps of 8 bits. `sourceOf` is the place in the waves
/// that shows at a place in the picture; none where the picture does not count.
template <class Sample, class SourceOf>
double worstWaveError(const Picture& picture, SourceOf&& sourceOf) {
    double worst = 0;
    for (std::size_t p = 0; p < 3; ++p) {
        const auto plane = picture.planes<Sample>()[p];
        for (int y = 0; y < plane.height; ++y)
            for (int x = 0; x < plane.width; ++x)
                if (const std::optional<Point> from = sourceOf(siteOf<Sample>(p, x, y)))
                    worst = std::max(worst, std::abs(plane.row(y)[x] / double{PictureFormat<Sample>::unit} -
                                                     wave(p, from->x, from->y)));
    }
    return worst;
}

}  // namespace lumenwhirl::testing
