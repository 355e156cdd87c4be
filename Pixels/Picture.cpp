#include "Pixels/Picture.h"

#include "Pixels/ColorConversion.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

namespace lumenwhirl {
namespace {

constexpr std::size_t rowAlignment = 64;  // samples

std::size_t alignedStride(int width) {
    return (static_cast<std::size_t>(width) + rowAlignment - 1) / rowAlignment * rowAlignment;
}

template <class Sample>
int chromaRows(int height) {
    return height >> PictureFormat<std::remove_const_t<Sample>>::chromaRowsShift;
}

template <class Sample>
BasicPicture<Sample> planesIn(Sample* samples, int width, int height) {
    BasicPicture<Sample> picture;
    for (int p = 0; p < 3; ++p) {
        const int w = p == 0 ? width : width / 2, h = p == 0 ? height : chromaRows<Sample>(height);
        picture.planes[static_cast<std::size_t>(p)] = {samples, static_cast<std::ptrdiff_t>(alignedStride(w)), w,
                                                       h};
        samples += alignedStride(w) * static_cast<std::size_t>(h);
    }
    return picture;
}

std::uint8_t byteOf(float value) {
    return static_cast<std::uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}

/// The chroma plane at luma position (x, y): its samples sit on even columns, between the rows of a pair.
float chromaSample(const PlaneView& plane, int x, int y) {
    const int left = x / 2, right = std::min(left + x % 2, plane.width - 1);
    const int row = y / 2, other = std::clamp(y % 2 == 0 ? row - 1 : row + 1, 0, plane.height - 1);
    const auto across = [&](int r) { return 0.5F * static_cast<float>(plane.row(r)[left] + plane.row(r)[right]); };
    return 0.75F * across(row) + 0.25F * across(other);
}

}  // namespace

template <class Sample>
PictureBuffer<Sample>::PictureBuffer(int width, int height)
    : width_(width),
      height_(height),
      samples_(alignedStride(width) * static_cast<std::size_t>(height) +
               2 * alignedStride(width / 2) * static_cast<std::size_t>(chromaRows<Sample>(height))) {
    constexpr int unit = PictureFormat<Sample>::unit;
    const BasicPicture<Sample> planes = mutableView();
    const auto chroma = static_cast<std::ptrdiff_t>(planes.planes[1].data - planes.planes[0].data);
    std::fill(samples_.begin(), samples_.begin() + chroma, static_cast<Sample>(16 * unit));
    std::fill(samples_.begin() + chroma, samples_.end(), static_cast<Sample>(128 * unit));
}

template <class Sample>
BasicPicture<const Sample> PictureBuffer<Sample>::view() const noexcept {
    return planesIn(samples_.data(), width_, height_);
}

template <class Sample>
BasicPicture<Sample> PictureBuffer<Sample>::mutableView() noexcept {
    return planesIn(samples_.data(), width_, height_);
}

template class PictureBuffer<std::uint8_t>;
template class PictureBuffer<std::uint16_t>;

Image imageFromPicture(const PictureView& picture) {
    Image image(picture.width(), picture.height());
    for (int y = 0; y < image.height; ++y) {
        std::uint8_t* out = image.row(y);
        for (int x = 0; x < image.width; ++x, out += 4) {
            const float luma = static_cast<float>(picture.planes[0].row(y)[x] - 16) / 219;
            const float cb = (chromaSample(picture.planes[1], x, y) - 128) / 224;
            const float cr = (chromaSample(picture.planes[2], x, y) - 128) / 224;
            const float red = luma + 1.5748F * cr, blue = luma + 1.8556F * cb;
            const float green = (luma - 0.2126F * red - 0.0722F * blue) / 0.7152F;
            out[0] = byteOf(255 * red);
            out[1] = byteOf(255 * green);
            out[2] = byteOf(255 * blue);
            out[3] = 255;
        }
    }
    return image;
}

Picture pictureFromImage(const Image& image) {
    Picture picture(image.width & ~1, image.height & ~1);
    writePlanes(picture.mutableView(), Rounding::nearest, [&](int y, YuvRow& row) {
        const std::uint8_t* in = image.row(y);
        for (int x = 0; x < picture.width(); ++x, in += 4) {
            row.set(x, yuvFromRgb(static_cast<float>(in[0]) / 255, static_cast<float>(in[1]) / 255,
                                  static_cast<float>(in[2]) / 255));
        }
    });
    return picture;
}

}  // namespace lumenwhirl
