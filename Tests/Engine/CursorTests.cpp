#include "Engine/Motion/CursorRenderModel.h"
#include "Engine/Motion/CursorTrack.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace lumenwhirl {
namespace {

using Samples = std::vector<CursorSample>;

EventLog logOf(Samples samples, std::vector<ClickEvent> clicks = {}) {
    EventLog log;
    log.cursor = std::move(samples);
    log.clicks = std::move(clicks);
    return log;
}

CursorRenderModel modelOf(const EventLog& log, CursorSmoothing smoothing, double autoHideIdle = 2) {
    CursorStyle style;
    style.smoothing = smoothing;
    style.autoHideIdle = autoHideIdle;
    return {log, style, 0.4, 0.6};
}

Samples randomWalk(unsigned seed, std::size_t count) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> gap(0, 0.05), place(0, 2000);
    Samples samples;
    double t = 0.25;
    for (std::size_t index = 0; index < count; ++index) {
        samples.push_back({t, place(random), place(random)});
        if (index % 7 != 0) t += gap(random);  // some samples share a time
    }
    return samples;
}

/// The smoothed path by definition: every step searches the samples again.
Samples simulate(const Samples& samples, double omega) {
    const double k = omega * omega, c = 2 * omega, dt = 1.0 / 120;
    Point p{samples.front().x, samples.front().y}, v;
    Samples path;
    for (double t = samples.front().t; t <= samples.back().t; t = t + 1.0 / 120) {
        const Point target = CursorTrack::interpolate(samples, t);
        const Point a{(target.x - p.x) * k - v.x * c, (target.y - p.y) * k - v.y * c};
        v = {v.x + a.x * dt, v.y + a.y * dt};
        p = {p.x + v.x * dt, p.y + v.y * dt};
        path.push_back({t, p.x, p.y});
    }
    return path;
}

TEST(CursorTrack, interpolatesBetweenSamplesAndHoldsTheEnds) {
    const Samples samples{{1, 0, 10}, {2, 100, 10}, {2, 300, 50}, {4, 100, 50}};
    const auto at = [&](double t) { return CursorTrack::interpolate(samples, t); };
    EXPECT_EQ(at(0), (Point{0, 10}));
    EXPECT_EQ(at(1.25), (Point{25, 10}));
    EXPECT_EQ(at(2), (Point{300, 50}));  // of two samples at one time, the later one starts the next stretch
    EXPECT_EQ(at(3), (Point{200, 50}));
    EXPECT_EQ(at(9), (Point{100, 50}));
    EXPECT_EQ(CursorTrack::interpolate({}, 1), (Point{0, 0}));
}

TEST(CursorTrack, theNearestSampleIsTheEarlierOfTwoEquallyNear) {
    const Samples samples{{1, 0, 0}, {2, 1, 0}, {3, 2, 0}};
    EXPECT_EQ(CursorTrack::nearestSample(samples, 1.5), samples[0]);
    EXPECT_EQ(CursorTrack::nearestSample(samples, 1.6), samples[1]);
    EXPECT_EQ(CursorTrack::nearestSample(samples, 99), samples[2]);
    EXPECT_EQ(CursorTrack::nearestSample({}, 1), std::nullopt);
}

TEST(CursorRenderModel, withoutSmoothingTheRecordedPathIsDrawn) {
    const Samples samples = randomWalk(1, 50);
    EXPECT_EQ(modelOf(logOf(samples), CursorSmoothing::off).trajectory(), samples);
    EXPECT_EQ(modelOf(logOf({{3, 5, 6}}), CursorSmoothing::ultra).position(9), (Point{5, 6}));
    EXPECT_EQ(modelOf(logOf({}), CursorSmoothing::smooth).state(1, true), CursorState{});
}

TEST(CursorRenderModel, smoothingFollowsTheSpringToTheLastBit) {
    struct Level {
        CursorSmoothing smoothing;
        double omega;
    };
    for (const Level level : {Level{CursorSmoothing::subtle, 34}, Level{CursorSmoothing::smooth, 18},
                              Level{CursorSmoothing::ultra, 9}}) {
        Samples samples = randomWalk(2, 300);
        EXPECT_EQ(modelOf(logOf(samples), level.smoothing).trajectory(), simulate(samples, level.omega));
        std::swap(samples[20].t, samples[200].t);  // a damaged log, out of order: the same search decides
        EXPECT_EQ(modelOf(logOf(samples), level.smoothing).trajectory(), simulate(samples, level.omega));
    }
}

TEST(CursorRenderModel, aJumpIsFollowedGradually) {
    const auto model = modelOf(logOf({{0, 0, 0}, {1, 0, 0}, {1, 100, 0}, {3, 100, 0}}), CursorSmoothing::smooth);
    EXPECT_LT(model.position(1).x, 1);
    double previous = 0;
    for (double t = 1; t < 3; t += 0.01) {
        const double x = model.position(t).x;
        EXPECT_GE(x, previous - 1e-9) << "critically damped: it never swings back";
        EXPECT_LE(x, 100 + 1e-9);
        previous = x;
    }
    // After u seconds, 1 - (1 + 18u) e^(-18u) of the way in continuous time: 0.874 for u = 0.2.
    EXPECT_NEAR(model.position(1.2).x, 87.4, 3);
    EXPECT_NEAR(previous, 100, 1e-6);
}

TEST(CursorRenderModel, anIdleCursorFadesAndReturnsWithTheNextMove) {
    const auto model = modelOf(logOf({{1, 0, 0}, {1.5, 1, 1}, {10, 2, 2}}), CursorSmoothing::smooth);
    EXPECT_EQ(model.opacity(0.99), 0);  // before the first move
    EXPECT_EQ(model.opacity(1), 1);
    EXPECT_EQ(model.opacity(3.5), 1);             // 2 s after the move at 1.5
    EXPECT_NEAR(model.opacity(3.7), 0.5, 1e-12);  // half of the 0.4 s fade
    EXPECT_EQ(model.opacity(3.91), 0);
    EXPECT_FALSE(model.state(3.91, true).isVisible());
    EXPECT_EQ(model.opacity(10), 1);
    for (double t = 3.4; t < 4; t += 0.001) EXPECT_NEAR(model.opacity(t), model.opacity(t + 0.001), 0.0026);
    EXPECT_NEAR(modelOf(logOf({{1, 0, 0}, {2, 1, 1}}), CursorSmoothing::off, 0).opacity(1.1), 0.75, 1e-12);
}

TEST(CursorRenderModel, clicksRippleWhereTheyWere) {
    std::vector<ClickEvent> clicks{{5, 10, 20, MouseButton::left, ClickPhase::down},
                                   {5.1, 10, 20, MouseButton::left, ClickPhase::up},
                                   {5.25, 30, 40, MouseButton::other, ClickPhase::down}};
    const auto model = modelOf(logOf({{0, 0, 0}, {9, 900, 900}}, clicks), CursorSmoothing::smooth);
    EXPECT_EQ(model.ripples(5), (std::vector<Ripple>{{{10, 20}, 0}}));
    EXPECT_TRUE(model.ripples(4.99).empty());
    const auto both = model.ripples(5.5);
    ASSERT_EQ(both.size(), 2U);
    EXPECT_NEAR(both[0].progress, 0.5 / 0.6, 1e-12);
    EXPECT_NEAR(both[1].progress, 0.25 / 0.6, 1e-12);
    EXPECT_EQ(both[1].center, (Point{30, 40}));
    EXPECT_EQ(model.ripples(5.61).size(), 1U);
    EXPECT_TRUE(model.state(5.5, false).ripples.empty());
}

TEST(CursorRenderModel, ripplesAreThoseOfAFullScanInAnyOrder) {
    std::mt19937 random(3);
    std::uniform_int_distribution<int> tenths(0, 300);
    for (const bool inOrder : {true, false}) {
        std::vector<ClickEvent> clicks;
        for (int index = 0; index < 200; ++index)
            clicks.push_back({tenths(random) * 0.1, index * 1.0, 0, MouseButton::left, ClickPhase::down});
        if (inOrder)
            std::stable_sort(clicks.begin(), clicks.end(),
                             [](auto& left, auto& right) { return left.t < right.t; });
        const auto model = modelOf(logOf({{0, 0, 0}}, clicks), CursorSmoothing::off);
        for (double t = -1; t < 32; t += 0.1) {
            std::vector<Ripple> expected;
            for (const ClickEvent& click : clicks)
                if (t - click.t >= 0 && t - click.t <= 0.6)
                    expected.push_back({{click.x, click.y}, (t - click.t) / 0.6});
            ASSERT_EQ(model.ripples(t), expected) << t;
        }
    }
}

TEST(CursorRenderModel, damagedTimesNeitherHangNorExhaustMemory) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    const std::pair<double, double> spans[] = {
        {0, 1e15}, {0, infinity},        {-infinity, infinity}, {1e17, 1e17 + 64}, {nan, 5},
        {0, nan},  {infinity, infinity}, {-1e308, 1e308},       {1e300, 1e300}};
    for (const auto& [first, last] : spans) {
        const auto model =
            modelOf(logOf({{first, 1, 1}, {last, 2, 2}}, {{first}, {last}}), CursorSmoothing::smooth);
        EXPECT_LE(model.trajectory().size(), 2U);
        for (const double t : {0.0, first, last, nan, infinity}) (void)model.state(t, true);
    }
    EXPECT_TRUE(modelOf(logOf({{5, 0, 0}, {1, 0, 0}}), CursorSmoothing::smooth).trajectory().empty());
}

}  // namespace
}  // namespace lumenwhirl
