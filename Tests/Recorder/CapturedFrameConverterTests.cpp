#include "Recorder/CapturedFrameConverter.h"

#include "Recorder/FramePlacement.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

namespace lumenwhirl {
namespace {

struct Captured {
    Captured(int width, int height, std::array<std::uint8_t, 4> color, std::ptrdiff_t padding = 12)
        : stride(std::ptrdiff_t{4} * width + padding), bytes(static_cast<std::size_t>(stride * height), 77) {
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                std::copy(color.begin(), color.end(), bytes.begin() + y * stride + std::ptrdiff_t{4} * x);
        frame.pixels = bytes.data();
        frame.stride = stride;
        frame.width = width;
        frame.height = height;
    }
    std::ptrdiff_t stride;
    std::vector<std::uint8_t> bytes;
    CapturedFrame frame;
};

TEST(CapturedFrameConverter, laysPicturesAtTheTopLeftAndMakesThemSmallerWhereTheyMust) {
    const std::array<std::uint8_t, 4> white{255, 255, 255, 0};
    struct Case {
        int width, height, coveredWidth, coveredHeight;
    };
    CapturedFrameConverter converter;
    Picture out(100, 60, PixelFormat::yuv420p8);
    // The first fits exactly, two lack an odd row or column, then smaller ones and ones beyond the file.
    for (const Case& test :
         {Case{100, 60, 100, 60}, Case{99, 59, 100, 60}, Case{30, 21, 30, 22}, Case{1, 1, 2, 2},
          Case{200, 60, 100, 30}, Case{100, 90, 67, 60}, Case{33, 240, 8, 60}, Case{100, 20, 100, 20}}) {
        SCOPED_TRACE(testing::Message() << test.width << "x" << test.height);
        for (int plane = 0; plane < 3; ++plane)
            for (int y = 0; y < (plane == 0 ? 60 : 30); ++y)
                std::fill_n(out.mutablePlane(plane) + y * out.stride(plane), plane == 0 ? 100 : 50,
                            std::uint8_t{99});
        const Captured picture(test.width, test.height, white);
        converter.convert(picture.frame, out);
        const double scale = placementScale(test.width, test.height, 100, 60);
        EXPECT_NEAR(test.width * scale, test.coveredWidth, 1);
        EXPECT_NEAR(test.height * scale, test.coveredHeight, 1);
        for (int y = 0; y < 60; ++y) {
            for (int x = 0; x < 100; ++x) {
                // Odd sizes may cover a row or column more.
                const bool isInside = x < test.coveredWidth && y < test.coveredHeight;
                const bool isOutside = x > test.coveredWidth || y > test.coveredHeight;
                const int luma = out.plane(0)[y * out.stride(0) + x];
                ASSERT_TRUE(isInside ? luma == 235 : !isOutside || luma == 16) << x << "," << y << ": " << luma;
            }
        }
        for (int plane = 1; plane < 3; ++plane)
            for (int y = 0; y < 30; ++y)
                for (int x = 0; x < 50; ++x) ASSERT_EQ(out.plane(plane)[y * out.stride(plane) + x], 128);
    }
}

TEST(CapturedFrameConverter, cutsTheOddLastColumnAndRowInsteadOfBlurringAll) {
    EXPECT_EQ(placementScale(101, 61, 100, 60), 1);
    EXPECT_LT(placementScale(102, 60, 100, 60), 1);
    // Columns of black and white, which any resampling would make grey.
    Captured picture(101, 61, {0, 0, 0, 0});
    for (int y = 0; y < 61; ++y)
        for (int x = 1; x < 101; x += 2)
            std::fill_n(picture.bytes.data() + y * picture.stride + std::ptrdiff_t{4} * x, 4, std::uint8_t{255});
    Picture out(100, 60, PixelFormat::yuv420p8);
    CapturedFrameConverter().convert(picture.frame, out);
    for (int y = 0; y < 60; ++y)
        for (int x = 0; x < 100; ++x) ASSERT_EQ(out.plane(0)[y * out.stride(0) + x], x % 2 == 0 ? 16 : 235);
}

}  // namespace
}  // namespace lumenwhirl
