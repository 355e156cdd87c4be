#include "Recorder/CapturedFrameConverter.h"

#include "Recorder/FramePlacement.h"
#include "Tests/Support/Movies.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace lumenwhirl {
namespace {

struct Captured {
    Captured(int width, int height, std::uint8_t grey) : stride(std::ptrdiff_t{4} * width + 12) {
        bytes.assign(static_cast<std::size_t>(stride * height), 77);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)  // nothing is said about the fourth byte
                std::fill_n(bytes.data() + y * stride + std::ptrdiff_t{4} * x, 3, grey);
        frame = {.pixels = bytes.data(), .stride = stride, .width = width, .height = height};
    }
    std::ptrdiff_t stride;
    std::vector<std::uint8_t> bytes;
    CapturedFrame frame;
};

TEST(CapturedFrameConverter, laysPicturesAtTheTopLeftAndMakesThemSmallerWhereTheyMust) {
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
        barCode::fill(out, 99, 99, 99);
        converter.convert(Captured(test.width, test.height, 255).frame, out);
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
                for (const int plane : {1, 2}) ASSERT_EQ(out.plane(plane)[y / 2 * out.stride(plane) + x / 2], 128);
            }
        }
    }
}

TEST(CapturedFrameConverter, cutsTheOddLastColumnAndRowInsteadOfBlurringAll) {
    EXPECT_EQ(placementScale(101, 61, 100, 60), 1);
    EXPECT_LT(placementScale(102, 60, 100, 60), 1);
    // Columns of black and white, which any resampling would make grey.
    Captured picture(101, 61, 0);
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
