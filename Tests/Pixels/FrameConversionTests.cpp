#include "Pixels/Kernels/ConversionKernels.h"
#include "Recorder/CapturedFrameConverter.h"
#include "Recorder/FramePlacement.h"

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace lumenwhirl {
namespace {

struct Planes {
    explicit Planes(int width)
        : upper(static_cast<std::size_t>(width + 1) / 2 * 2), lower(upper), cb(upper.size() / 2), cr(cb) {}
    std::vector<std::uint8_t> upper, lower, cb, cr;
    [[nodiscard]] ConversionKernels::Rows rows() { return {upper.data(), lower.data(), cb.data(), cr.data()}; }
    bool operator==(const Planes&) const = default;
};

/// Noise, flat colours and the extremes, whose sums are the largest.
std::vector<std::uint8_t> pixels(std::mt19937& random, int width) {
    std::vector<std::uint8_t> row(static_cast<std::size_t>(width) * 4);
    const auto kind = random() % 3;
    for (std::size_t i = 0; i < row.size(); ++i) {
        row[i] = static_cast<std::uint8_t>(random());
        if (kind == 0) row[i] = static_cast<std::uint8_t>(row[i] % 2 * 255);
        if (kind == 1 && i >= 4) row[i] = row[i - 4];
    }
    return row;
}

TEST(Conversion, isWithinOneOfTheExactValues) {
    std::mt19937 random(3);
    for (int round = 0; round < 300; ++round) {
        const int width = static_cast<int>(1 + random() % 70);
        const auto upper = pixels(random, width), lower = round % 7 == 0 ? upper : pixels(random, width);
        Planes got(width);
        ConversionKernels::reference().convertRows(upper.data(), lower.data(), width, got.rows());
        struct Exact {
            double y, cb, cr;
        };
        // ITU-R BT.709: luma, and the differences from it, scaled to 16...235 and 16...240.
        const auto exactAt = [&](const std::vector<std::uint8_t>& row, int x) {
            const auto at = static_cast<std::size_t>(std::clamp(x, 0, width - 1)) * 4;
            const double b = row[at] / 255.0, g = row[at + 1] / 255.0, r = row[at + 2] / 255.0;
            const double y = 0.2126 * r + 0.7152 * g + 0.0722 * b;
            return Exact{16 + 219 * y, 128 + 224 * (b - y) / 1.8556, 128 + 224 * (r - y) / 1.5748};
        };
        for (int x = 0; x < static_cast<int>(got.upper.size()); ++x) {
            const auto i = static_cast<std::size_t>(x);
            ASSERT_NEAR(got.upper[i], exactAt(upper, x).y, 0.6);
            ASSERT_NEAR(got.lower[i], exactAt(lower, x).y, 0.6);
            if (x % 2 != 0) continue;
            double cb = 0, cr = 0;
            for (const auto* row : {&upper, &lower}) {
                for (const auto& [side, weight] :
                     {std::pair(-1, 0.125), std::pair(0, 0.25), std::pair(1, 0.125)}) {
                    cb += weight * exactAt(*row, x + side).cb;
                    cr += weight * exactAt(*row, x + side).cr;
                }
            }
            ASSERT_NEAR(got.cb[i / 2], cb, 0.6);
            ASSERT_NEAR(got.cr[i / 2], cr, 0.6);
        }
    }
}

TEST(Conversion, givesGreysNoColorAndWhiteItsCode) {
    for (int grey = 0; grey < 256; ++grey) {
        const std::vector<std::uint8_t> row(4 * 4, static_cast<std::uint8_t>(grey));
        Planes got(4);
        ConversionKernels::reference().convertRows(row.data(), row.data(), 4, got.rows());
        EXPECT_NEAR(got.upper[1], 16 + 219 * grey / 255.0, grey % 255 == 0 ? 0 : 0.51);
        EXPECT_EQ(got.cb, std::vector<std::uint8_t>(2, 128));
        EXPECT_EQ(got.cr, std::vector<std::uint8_t>(2, 128));
    }
}

/// Runs on each instruction set that this processor has.
class FastConversion : public testing::TestWithParam<std::int64_t> {
protected:
    void SetUp() override {
        hwy::SetSupportedTargetsForTest(GetParam());
        hwy::GetChosenTarget().DeInit();
    }
    void TearDown() override {
        hwy::SetSupportedTargetsForTest(0);
        hwy::GetChosenTarget().DeInit();
    }
};

TEST_P(FastConversion, givesTheReferencesBytes) {
    std::mt19937 random(5);
    std::vector<int> widths{1, 2, 3, 1023, 1024, 1025, 1026, 1087, 1088, 1919, 1920, 2048, 2049, 3840};
    for (int i = 0; i < 100; ++i) widths.push_back(static_cast<int>(1 + random() % 2500));
    for (const int width : widths) {
        SCOPED_TRACE(width);
        // Rows of exactly their length: a kernel that reads or writes on is caught by the address sanitizer.
        const auto upper = pixels(random, width), lower = pixels(random, width);
        Planes expected(width), got(width);
        ConversionKernels::reference().convertRows(upper.data(), lower.data(), width, expected.rows());
        ConversionKernels::fastest().convertRows(upper.data(), lower.data(), width, got.rows());
        ASSERT_EQ(got, expected);
    }
}

std::string nameOf(const testing::TestParamInfo<std::int64_t>& info) {
    std::string name = hwy::TargetName(info.param);
    std::erase_if(name, [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; });
    return name;
}

std::vector<std::int64_t> targets() {
    std::vector<std::int64_t> result;
    for (std::int64_t left = hwy::SupportedTargets(); left != 0; left &= left - 1) result.push_back(left & -left);
    return result;
}

INSTANTIATE_TEST_SUITE_P(InstructionSets, FastConversion, testing::ValuesIn(targets()), nameOf);

// Where pictures lie

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
    VideoFrame out = VideoFrame::allocate(100, 60, PixelFormat::yuv420p8);
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
    VideoFrame out = VideoFrame::allocate(100, 60, PixelFormat::yuv420p8);
    CapturedFrameConverter().convert(picture.frame, out);
    for (int y = 0; y < 60; ++y)
        for (int x = 0; x < 100; ++x) ASSERT_EQ(out.plane(0)[y * out.stride(0) + x], x % 2 == 0 ? 16 : 235);
}

}  // namespace
}  // namespace lumenwhirl
