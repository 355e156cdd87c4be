#include "Pixels/Image.h"

#include "Pixels/Bt709.h"
#include "Pixels/Kernels/ConversionKernels.h"
#include "Pixels/PlaneWriting.h"

#include <algorithm>

namespace lumenwhirl {
void imageFromPicture(const Picture& picture, Image& image) {
    const Planes<const std::uint8_t> planes = picture.planes();
    if (image.width != picture.width() || image.height != picture.height())
        image = Image(picture.width(), picture.height());
    for (int y = 0; y < image.height; ++y) {
        const int row = y / 2, other = std::clamp(y % 2 == 0 ? row - 1 : row + 1, 0, planes[1].height - 1);
        ConversionKernels::fastest().pixelRow(
            {planes[0].row(y), planes[1].row(row), planes[2].row(row), planes[1].row(other), planes[2].row(other)},
            image.width, image.row(y));
    }
}

Image imageFromPicture(const Picture& picture) {
    Image image;
    imageFromPicture(picture, image);
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
