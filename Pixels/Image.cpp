#include "Pixels/Image.h"

#include "Pixels/Bt709.h"
#include "Pixels/PlaneWriting.h"

#include <algorithm>
#include <cmath>

namespace lumenwhirl {
namespace {

std::uint8_t byteOf(float value) {
    return static_cast<std::uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}

/// The chroma plane at luma position (x, y): its samples sit on even columns, between the rows of a pair.
float chromaSample(const Plane<const std::uint8_t>& plane, int x, int y) {
    const int left = x / 2, right = std::min(left + x % 2, plane.width - 1);
    const int row = y / 2, other = std::clamp(y % 2 == 0 ? row - 1 : row + 1, 0, plane.height - 1);
    const auto across = [&](int r) { return 0.5F * static_cast<float>(plane.row(r)[left] + plane.row(r)[right]); };
    return 0.75F * across(row) + 0.25F * across(other);
}

}  // namespace

Image imageFromPicture(const Picture& picture) {
    const Planes<const std::uint8_t> planes = picture.planes();
    Image image(picture.width(), picture.height());
    for (int y = 0; y < image.height; ++y) {
        std::uint8_t* out = image.row(y);
        for (int x = 0; x < image.width; ++x, out += 4) {
            const bt709::Rgb color = bt709::toRgb({static_cast<float>(planes[0].row(y)[x]),
                                                   chromaSample(planes[1], x, y), chromaSample(planes[2], x, y)});
            out[0] = byteOf(255 * color.red);
            out[1] = byteOf(255 * color.green);
            out[2] = byteOf(255 * color.blue);
            out[3] = 255;
        }
    }
    return image;
}

Picture pictureFromImage(const Image& image) {
    Picture picture(image.width & ~1, image.height & ~1, PixelFormat::yuv420p8);
    writePlanes(picture.mutablePlanes(), Rounding::nearest, [&](int y, YuvRow& row) {
        const std::uint8_t* in = image.row(y);
        for (int x = 0; x < picture.width(); ++x, in += 4) {
            row.set(x, bt709::fromRgb(static_cast<float>(in[0]) / 255, static_cast<float>(in[1]) / 255,
                                      static_cast<float>(in[2]) / 255));
        }
    });
    return picture;
}

}  // namespace lumenwhirl
