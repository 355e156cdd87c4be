#include "Media/AudioTimeline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

namespace lumenwhirl {
namespace {

constexpr int rate = 48'000;
constexpr std::size_t block = 480;

/// A line and the samples it has given so far.
struct Laid {
    Laid()
        : line(rate, 1, [this](const float* const* planes, std::size_t frames) {
              samples.insert(samples.end(), planes[0], planes[0] + frames);
          }) {}
    std::vector<float> samples;
    AudioTimeline line;
};

/// What is heard at a time: pulses 0.2 s apart over a quiet tone.
float audioAt(double time) {
    const double sincePulse = time - 0.2 * std::floor(time / 0.2);
    const double pulse = std::exp(-std::pow((sincePulse - 0.1) / 0.0005, 2));
    return static_cast<float>(0.1 * std::sin(2 * std::numbers::pi * 220 * time) + 0.8 * pulse);
}

std::vector<float> blockAt(double time, double deviceRate = rate, std::size_t frames = block) {
    std::vector<float> samples(frames);
    for (std::size_t i = 0; i < frames; ++i) samples[i] = audioAt(time + static_cast<double>(i) / deviceRate);
    return samples;
}

/// How far from its place the pulse of that number is, in seconds; 1 if there is none.
double pulseError(const std::vector<float>& samples, int number) {
    const double place = 0.2 * number + 0.1;
    const auto from = static_cast<std::size_t>((place - 0.05) * rate),
               to = static_cast<std::size_t>((place + 0.05) * rate);
    if (to > samples.size()) return 1;
    const auto begin = samples.begin() + static_cast<std::ptrdiff_t>(from);
    const auto peak = std::max_element(begin, samples.begin() + static_cast<std::ptrdiff_t>(to));
    return *peak > 0.6F ? static_cast<double>(peak - samples.begin()) / rate - place : 1;
}

TEST(AudioTimeline, placesBlocksAtTheirTimesCutsOverlapsAndFillsHoles) {
    Laid laid;
    // Starts 0.3 s early; nothing from 1 s to 3.25 s; later 0.1 s twice; nothing from 4 s to 4.06 s.
    const auto add = [&](double from, double to) {
        for (double time = from; time < to - 1e-6; time += 0.01) laid.line.add(time, blockAt(time).data(), block);
    };
    add(-0.305, 0.995);
    add(3.25, 3.75);
    add(3.65, 4.0);
    add(4.06, 5.0);
    laid.line.finish();
    EXPECT_NEAR(static_cast<double>(laid.samples.size()), 5.0 * rate, 2);
    for (const int number : {0, 1, 2, 3, 4, 16, 17, 18, 19, 20, 21, 22, 23, 24})
        EXPECT_NEAR(pulseError(laid.samples, number), 0, 0.0001) << number;
    const auto isSilent = [&](double from, double to) {
        return std::all_of(laid.samples.begin() + static_cast<std::ptrdiff_t>(from * rate),
                           laid.samples.begin() + static_cast<std::ptrdiff_t>(to * rate),
                           [](float s) { return s == 0; });
    };
    EXPECT_TRUE(isSilent(0.996, 3.249));
    EXPECT_TRUE(isSilent(4.001, 4.059));
    EXPECT_FALSE(isSilent(3.99, 3.999));
}

class DriftingClock : public testing::TestWithParam<double> {};

TEST_P(DriftingClock, isFollowedWithoutSteps) {
    const double deviceRate = rate * (1 + GetParam() * 1e-6);
    std::mt19937 random(7);
    std::uniform_real_distribution<double> jitter(-0.006, 0.006);
    Laid laid;
    constexpr int seconds = 240;
    float largestStep = 0, previous = 0;
    std::size_t checked = 0;
    for (int i = 0; i < seconds * 100; ++i) {
        const double time = static_cast<double>(i) * block / deviceRate;
        laid.line.add(std::max(0.0, time + jitter(random)), blockAt(time, deviceRate).data(), block);
        for (; checked < laid.samples.size(); ++checked) {
            largestStep = std::max(largestStep, std::fabs(laid.samples[checked] - previous));
            previous = laid.samples[checked];
        }
    }
    laid.line.finish();
    double worst = 0, late = 0;
    for (int number = 0; number < 5 * seconds - 2; ++number) {
        const double error = std::fabs(pulseError(laid.samples, number));
        worst = std::max(worst, error);
        if (number > 300) late = std::max(late, error);
    }
    EXPECT_LT(worst, 0.008);  // the first time may be wrong by 6 ms
    EXPECT_LT(late, 0.002 + std::fabs(GetParam()) * 1e-6 * 12);
    // The steepest slope of the audio itself: the pulse's 0.8 * sqrt(2 / e) / 0.0005 and the tone's 138 a second.
    EXPECT_LT(largestStep, 1.1 * (1373 + 138) / rate);
}

INSTANTIATE_TEST_SUITE_P(PartsPerMillion, DriftingClock, testing::Values(-500.0, -100.0, 0.0, 100.0, 500.0),
                         [](const auto& instance) {
                             return (instance.param < 0 ? "slower" : "faster") +
                                    std::to_string(static_cast<int>(std::fabs(instance.param)));
                         });

}  // namespace
}  // namespace lumenwhirl
