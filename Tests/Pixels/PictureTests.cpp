#include "Pixels/Image.h"
#include "Pixels/Picture.h"
#include "Pixels/PicturePool.h"
#include "Pixels/PlaneResampler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace lumenwhirl {
namespace {

Image flat(int width, int height, const Color& color) {
    Image image(width, height);
    for (int i = 0; i < width * height; ++i) {
        std::uint8_t* pixel = image.pixels.data() + std::ptrdiff_t{4} * i;
        pixel[0] = static_cast<std::uint8_t>(std::lround(255 * color.red));
        pixel[1] = static_cast<std::uint8_t>(std::lround(255 * color.green));
        pixel[2] = static_cast<std::uint8_t>(std::lround(255 * color.blue));
        pixel[3] = 255;
    }
    return image;
}

TEST(Picture, hasRoomForEverySampleOfItsFormat) {
    // 4:2:2 of 10 bits: two bytes a sample, chroma as high as luma. The sanitizers see a plane that is too small.
    Picture picture(34, 18, PixelFormat::yuv422p10);
    const Planes<std::uint16_t> planes = picture.mutablePlanes<std::uint16_t>();
    for (int p = 0; p < 3; ++p) {
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(picture.plane(p)) % 64, 0U);
        EXPECT_EQ(picture.stride(p) % 64, 0);
        const auto& plane = planes[static_cast<std::size_t>(p)];
        ASSERT_EQ(plane.height, 18);
        for (int y = 0; y < 18; ++y)
            std::fill_n(plane.row(y), plane.width, static_cast<std::uint16_t>(100 * p + y));
    }
    for (int p = 0; p < 3; ++p) {
        for (int y = 0; y < 18; ++y) {
            EXPECT_EQ(planes[static_cast<std::size_t>(p)].row(y)[0], 100 * p + y);
            EXPECT_EQ(planes[static_cast<std::size_t>(p)].row(y)[p == 0 ? 33 : 16], 100 * p + y);
        }
    }
}

TEST(PicturePool, givesAPictureAgainOnceNobodyElseHasIt) {
    PicturePool pool;
    Picture first = pool.take(16, 16, PixelFormat::yuv420p8);
    const std::uint8_t* pixels = first.plane(0);
    const Picture second = pool.take(16, 16, PixelFormat::yuv420p8);
    EXPECT_NE(second.plane(0), pixels);
    Picture copy = first;
    first = Picture();
    EXPECT_NE(pool.take(16, 16, PixelFormat::yuv420p8).plane(0), pixels);
    copy = Picture();
    EXPECT_EQ(pool.take(16, 16, PixelFormat::yuv420p8).plane(0), pixels);
    EXPECT_EQ(pool.take(18, 16, PixelFormat::yuv420p8).width(), 18);
}

// Slow waves, drawn where each plane's samples sit, must come out as the same waves at the mapped places.
TEST(PictureResampler, lumaAndChromaKeepTheirPlaces) {
    const auto wave = [](int plane, double x, double y) {
        return 120 + 60 * std::sin(0.021 * x + 0.7 * plane) * std::cos(0.017 * y - 0.4 * plane);
    };
    const auto siteOf = [](int plane, int i) { return plane == 0 ? i + 0.5 : 2 * i + 0.5; };  // across
    const auto lineOf = [](int plane, int j) { return plane == 0 ? j + 0.5 : 2 * j + 1.0; };  // down
    Picture source(960, 540, PixelFormat::yuv420p8), out(640, 400, PixelFormat::yuv420p8);
    for (int p = 0; p < 3; ++p) {
        const Plane<std::uint8_t> plane = source.mutablePlanes()[static_cast<std::size_t>(p)];
        for (int y = 0; y < plane.height; ++y)
            for (int x = 0; x < plane.width; ++x)
                plane.row(y)[x] = static_cast<std::uint8_t>(std::lround(wave(p, siteOf(p, x), lineOf(p, y))));
    }
    PictureResampler resampler;
    for (const int width : {600, 430}) {
        const int height = width / 2;
        resampler.resample(source, out, width, height);
        double worst = 0;
        for (int p = 0; p < 3; ++p) {
            const Plane<const std::uint8_t> plane = out.planes()[static_cast<std::size_t>(p)];
            for (int y = 4; y < (p == 0 ? height : height / 2) - 4; ++y)
                for (int x = 4; x < (p == 0 ? width : width / 2) - 4; ++x)
                    worst = std::max(worst, std::abs(plane.row(y)[x] - wave(p, siteOf(p, x) * 960 / width,
                                                                            lineOf(p, y) * 540 / height)));
        }
        EXPECT_LT(worst, 1.3);  // a tenth of a pixel's shift would add 0.13 to the rounding of two steps
    }
}

TEST(Image, colorsSurviveTheWayToPlanesAndBack) {
    constexpr Color white{1, 1, 1, 1}, grey{0.5, 0.5, 0.5, 1}, black{0, 0, 0, 1};
    for (const Color color :
         {white, black, grey, Color{1, 0, 0, 1}, Color{0, 1, 0, 1}, Color{0, 0, 1, 1}, Color{0.2, 0.7, 0.4, 1}}) {
        const Image image = imageFromPicture(pictureFromImage(flat(16, 16, color)));
        const std::uint8_t* pixel = image.row(7) + 4 * 7;
        EXPECT_NEAR(pixel[0], 255 * color.red, 3);
        EXPECT_NEAR(pixel[1], 255 * color.green, 3);
        EXPECT_NEAR(pixel[2], 255 * color.blue, 3);
        EXPECT_EQ(pixel[3], 255);
    }
}

}  // namespace
}  // namespace lumenwhirl
