#include "Pixels/Kernels/ConversionKernels.h"
#include "Tests/Pixels/InstructionSets.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace lumenwhirl {
namespace {

struct Rows {
    explicit Rows(int width)
        : upper(static_cast<std::size_t>(width + 1) / 2 * 2), lower(upper), cb(upper.size() / 2), cr(cb) {}
    std::vector<std::uint8_t> upper, lower, cb, cr;
    [[nodiscard]] ConversionKernels::Rows rows() { return {upper.data(), lower.data(), cb.data(), cr.data()}; }
    bool operator==(const Rows&) const = default;
};

/// Noise, flat colours, greys and the extremes, whose sums are the largest.
std::vector<std::uint8_t> pixels(std::mt19937& random, int width) {
    std::vector<std::uint8_t> row(static_cast<std::size_t>(width) * 4);
    const auto kind = random() % 4;
    for (std::size_t i = 0; i < row.size(); ++i) {
        row[i] = static_cast<std::uint8_t>(random());
        if (kind == 0) row[i] = static_cast<std::uint8_t>(row[i] % 2 * 255);
        if (kind == 1 && i >= 4) row[i] = row[i - 4];
        if (kind == 2 && i % 4 != 0) row[i] = row[i - 1];
    }
    return row;
}

TEST(Conversion, isWithinOneOfTheExactValues) {
    std::mt19937 random(3);
    for (int round = 0; round < 300; ++round) {
        const int width = static_cast<int>(1 + random() % 70);
        const auto upper = pixels(random, width), lower = round % 7 == 0 ? upper : pixels(random, width);
        Rows got(width);
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

/// Any samples, the extremes among them, as the rows of three planes.
struct PlaneSamples {
    PlaneSamples(std::mt19937& random, int width)
        : luma(pixels(random, (width + 3) / 4)), chroma{luma, luma, luma, luma} {
        for (auto& row : chroma) row = pixels(random, (width + 7) / 8);
        luma.resize(static_cast<std::size_t>(width));  // exactly, for the address sanitizer
        for (auto& row : chroma) row.resize(luma.size() / 2), row.shrink_to_fit();
        luma.shrink_to_fit();
    }
    std::vector<std::uint8_t> luma;
    std::array<std::vector<std::uint8_t>, 4> chroma;  // cb, cr, and those of the other pair of rows
    [[nodiscard]] ConversionKernels::PlaneRows rows() const {
        return {luma.data(), chroma[0].data(), chroma[1].data(), chroma[2].data(), chroma[3].data()};
    }
};

TEST(Conversion, pixelsAreWithinOneOfTheExactValues) {
    std::mt19937 random(4);
    for (int round = 0; round < 300; ++round) {
        const int width = static_cast<int>(2 + 2 * (random() % 35));
        const PlaneSamples in(random, width);
        std::vector<std::uint8_t> got(static_cast<std::size_t>(width) * 4);
        ConversionKernels::reference().pixelRow(in.rows(), width, got.data());
        for (int x = 0; x < width; ++x) {
            const auto at = [&](std::size_t plane) {
                const auto left = static_cast<std::size_t>(x / 2),
                           right = std::min(left + static_cast<std::size_t>(x % 2), in.chroma[0].size() - 1);
                const auto both = [&](const std::vector<std::uint8_t>& row) {
                    return (row[left] + row[right]) / 2.0;
                };
                return (0.75 * both(in.chroma[plane]) + 0.25 * both(in.chroma[plane + 2]) - 128) / 224;
            };
            const double y = (in.luma[static_cast<std::size_t>(x)] - 16) / 219.0, cb = at(0), cr = at(1);
            const double red = y + 1.5748 * cr, blue = y + 1.8556 * cb;
            const std::array<double, 4> exact{red, (y - 0.2126 * red - 0.0722 * blue) / 0.7152, blue, 1};
            for (std::size_t c = 0; c < 4; ++c)
                ASSERT_NEAR(got[static_cast<std::size_t>(x) * 4 + c], 255 * std::clamp(exact[c], 0.0, 1.0), 0.6);
        }
    }
}

class FastConversion : public testing::OnEachInstructionSet {};

TEST_P(FastConversion, givesTheReferencesBytes) {
    std::mt19937 random(5);
    std::vector<int> widths{1, 2, 3, 1023, 1024, 1025, 1026, 1087, 1088, 1919, 1920, 2048, 2049, 3840};
    for (int i = 0; i < 100; ++i) widths.push_back(static_cast<int>(1 + random() % 2500));
    for (const int width : widths) {
        SCOPED_TRACE(width);
        // Rows of exactly their length: a kernel that reads or writes on is caught by the address sanitizer.
        const auto upper = pixels(random, width), lower = pixels(random, width);
        Rows expected(width), got(width);
        ConversionKernels::reference().convertRows(upper.data(), lower.data(), width, expected.rows());
        ConversionKernels::fastest().convertRows(upper.data(), lower.data(), width, got.rows());
        ASSERT_EQ(got, expected);

        const PlaneSamples in(random, width + width % 2);
        std::vector<std::uint8_t> expectedRow(in.luma.size() * 4), gotRow(expectedRow.size());
        ConversionKernels::reference().pixelRow(in.rows(), width + width % 2, expectedRow.data());
        ConversionKernels::fastest().pixelRow(in.rows(), width + width % 2, gotRow.data());
        ASSERT_EQ(gotRow, expectedRow);
    }
}

INSTANTIATE_TEST_SUITE_P(, FastConversion, ::testing::ValuesIn(hwy::SupportedAndGeneratedTargets()),
                         testing::targetName);

}  // namespace
}  // namespace lumenwhirl
