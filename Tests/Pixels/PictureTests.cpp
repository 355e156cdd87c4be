#include "Pixels/Image.h"
#include "Pixels/Picture.h"
#include "Pixels/PicturePool.h"
#include "Pixels/PlaneResampler.h"
#include "Tests/Pixels/TestPictures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

namespace lumenwhirl {
namespace {

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

TEST(PictureResampler, lumaAndChromaKeepTheirPlaces) {
    const Picture source = testing::wavePicture(960, 540);
    Picture out(640, 400, PixelFormat::yuv420p8);
    PictureResampler resampler;
    for (const int width : {600, 430}) {
        const int height = width / 2;
        resampler.resample(source, out, width, height);
        const auto sourceOf = [&](Point at) -> std::optional<Point> {
            if (at.x < 8 || at.y < 8 || at.x > width - 8 || at.y > height - 8) return std::nullopt;
            return Point{at.x * 960 / width, at.y * 540 / height};
        };
        // A tenth of a pixel's shift would add 0.13 to the rounding of two steps.
        EXPECT_LT(testing::worstWaveError<std::uint8_t>(out, sourceOf), 1.3);
    }
}

TEST(Image, colorsSurviveTheWayToPlanesAndBack) {
    constexpr Color white{1, 1, 1, 1}, grey{0.5, 0.5, 0.5, 1}, black{0, 0, 0, 1};
    for (const Color color :
         {white, black, grey, Color{1, 0, 0, 1}, Color{0, 1, 0, 1}, Color{0, 0, 1, 1}, Color{0.2, 0.7, 0.4, 1}}) {
        const Image image = imageFromPicture(testing::flatPicture(16, 16, color));
        const std::uint8_t* pixel = image.row(7) + 4 * 7;
        EXPECT_NEAR(pixel[0], 255 * color.red, 3);
        EXPECT_NEAR(pixel[1], 255 * color.green, 3);
        EXPECT_NEAR(pixel[2], 255 * color.blue, 3);
        EXPECT_EQ(pixel[3], 255);
    }
}

}  // namespace
}  // namespace lumenwhirl
