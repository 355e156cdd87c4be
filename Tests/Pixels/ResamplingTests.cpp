#include "Pixels/AxisMap.h"
#include "Pixels/Kernels/Kernels.h"
#include "Tests/Pixels/InstructionSets.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>

namespace lumenwhirl {
namespace {

AxisMap::Geometry randomGeometry(std::mt19937& random) {
    std::uniform_real_distribution<double> unit(0, 1);
    AxisMap::Geometry geometry;
    geometry.begin = static_cast<int>(random() % 50);
    geometry.end = geometry.begin + static_cast<int>(1 + random() % 300);
    geometry.step = std::exp(std::log(30.0) * unit(random) - std::log(3.0));  // 1/3 to 10
    geometry.origin = 40 * unit(random) - 20;
    geometry.sourceSize = static_cast<int>(1 + random() % 700);
    geometry.filter = random() % 2 == 0 ? AxisMap::Filter::sharp : AxisMap::Filter::smooth;
    return geometry;
}

TEST(AxisMap, tapsStayInsideAndWeightsSumToOne) {
    std::mt19937 random(1);
    for (int round = 0; round < 300; ++round) {
        AxisMap map;
        map.build(randomGeometry(random));
        for (int i = 0; i < map.count(); ++i) {
            ASSERT_GE(map.first(i), 0);
            ASSERT_LE(map.first(i) + map.taps(), map.geometry().sourceSize);
            ASSERT_EQ(std::accumulate(map.weights(i), map.weights(i) + map.taps(), 0), 1 << AxisMap::weightBits);
        }
    }
}

class FastKernels : public testing::OnEachInstructionSet {
protected:
    std::mt19937 random_{7};
    std::vector<std::uint8_t> bytes(std::size_t count) {
        std::vector<std::uint8_t> result(count);
        for (auto& byte : result)
            byte = static_cast<std::uint8_t>(random_() % 3 == 0 ? random_() % 2 * 255 : random_());
        return result;
    }
};

TEST_P(FastKernels, resampleRowsAsTheReferenceDoes) {
    for (int round = 0; round < 200; ++round) {
        AxisMap map;
        map.build(randomGeometry(random_));
        RowTables tables;
        tables.build(map);
        // Rows of exactly their length: a kernel that reads on is caught by the address sanitizer.
        constexpr int batch = Kernels::rowsAtOnce;
        std::vector<std::vector<std::uint8_t>> rows;
        std::vector<std::vector<std::int16_t>> expected(batch, std::vector<std::int16_t>(tables.paddedCount()));
        auto got = expected;
        std::vector<const std::uint8_t*> from;
        std::vector<std::int16_t*> toExpected, toGot;
        for (std::size_t i = 0; i < batch; ++i) {
            from.push_back(rows.emplace_back(bytes(static_cast<std::size_t>(map.geometry().sourceSize))).data());
            toExpected.push_back(expected[i].data());
            toGot.push_back(got[i].data());
        }
        Kernels::reference().resampleRows(tables, from.data(), toExpected.data());
        Kernels::fastest().resampleRows(tables, from.data(), toGot.data());
        for (std::size_t row = 0; row < batch; ++row) {
            for (std::size_t i = 0; i < static_cast<std::size_t>(map.count()); ++i)
                ASSERT_EQ(got[row][i], expected[row][i]) << "round " << round << " row " << row << " sample " << i;
        }
    }
}

template <class Sample>
void expectSameBlending(std::mt19937& random) {
    for (int round = 0; round < 200; ++round) {
        const int taps = static_cast<int>(1 + random() % 12), count = static_cast<int>(1 + random() % 150);
        std::vector<std::vector<std::int16_t>> rows(static_cast<std::size_t>(taps));
        std::vector<const std::int16_t*> pointers;
        std::vector<std::int16_t> weights;
        int rest = 1 << AxisMap::weightBits;
        for (auto& row : rows) {
            for (int i = 0; i < count; ++i) row.push_back(static_cast<std::int16_t>(random() % 20000 - 1500));
            pointers.push_back(row.data());
            weights.push_back(
                static_cast<std::int16_t>(pointers.size() == rows.size() ? rest : random() % 9000 - 2000));
            rest -= weights.back();
        }
        std::vector<Sample> expected(static_cast<std::size_t>(count)), got(expected);
        Kernels::reference().into<Sample>().blendRows(pointers.data(), weights.data(), taps, expected.data(),
                                                      count);
        Kernels::fastest().into<Sample>().blendRows(pointers.data(), weights.data(), taps, got.data(), count);
        ASSERT_EQ(got, expected) << "round " << round;
    }
}

template <class Sample>
void expectSameOverlays(std::mt19937& random) {
    for (int round = 0; round < 200; ++round) {
        const std::size_t count = 1 + random() % 150;
        const auto samples = [&](unsigned most) {
            std::vector<Sample> result(count);
            for (Sample& sample : result) sample = static_cast<Sample>(random() % (most + 1));
            return result;
        };
        constexpr unsigned unit = PictureFormat<Sample>::unit;
        const auto color = samples(255 * unit), alpha = samples(255 * unit), below = samples(256 * unit - 1);
        const int opacity = static_cast<int>(round % 3 == 0 ? 256 : random() % 257);
        auto expected = below, got = below;
        Kernels::reference().into<Sample>().overlayRow(expected.data(), color.data(), alpha.data(), opacity,
                                                       static_cast<int>(count));
        Kernels::fastest().into<Sample>().overlayRow(got.data(), color.data(), alpha.data(), opacity,
                                                     static_cast<int>(count));
        ASSERT_EQ(got, expected) << "round " << round;
    }
}

TEST_P(FastKernels, blendRowsAsTheReferenceDoes) {
    expectSameBlending<std::uint8_t>(random_);
    expectSameBlending<std::uint16_t>(random_);
}

TEST_P(FastKernels, overlayRowsAsTheReferenceDoes) {
    expectSameOverlays<std::uint8_t>(random_);
    expectSameOverlays<std::uint16_t>(random_);
}

INSTANTIATE_TEST_SUITE_P(, FastKernels, ::testing::ValuesIn(hwy::SupportedAndGeneratedTargets()),
                         testing::targetName);

}  // namespace
}  // namespace lumenwhirl
