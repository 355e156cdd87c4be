#include "Engine/Motion/CursorRenderModel.h"
#include "Engine/Motion/CursorTrack.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>

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

TEST(CursorRenderModel, withoutSmoothingTheRecordedPathIsDrawn) {
    const Samples samples{{1, 0, 10}, {2, 100, 10}, {2, 300, 50}};
    EXPECT_EQ(modelOf(logOf(samples), CursorSmoothing::off).trajectory(), samples);
    EXPECT_EQ(modelOf(logOf({{3, 5, 6}}), CursorSmoothing::ultra).position(9), (Point{5, 6}));
    EXPECT_EQ(modelOf(logOf({}), CursorSmoothing::smooth).state(1, true), CursorState{});
}

TEST(CursorRenderModel, aJumpIsFollowedAsByACriticallyDampedSpring) {
    Samples samples;  // of a mouse that reports its place a thousand times a second
    for (int i = 0; i <= 1000; ++i) samples.push_back({i / 1000.0, 0, 0});
    samples.insert(samples.end(), {{1, 100, -50}, {5, 100, -50}});
    for (const auto& [smoothing, omega] :
         {std::pair(CursorSmoothing::subtle, 34), std::pair(CursorSmoothing::smooth, 18),
          std::pair(CursorSmoothing::ultra, 9)}) {
        SCOPED_TRACE(omega);
        const auto model = modelOf(logOf(samples), smoothing);
        // A spring of omega rad/s covers half the way in 1.6783 / omega s and nine tenths in 3.8897 / omega s; a
        // step has 1/120 s.
        for (const auto& [radians, x] : {std::pair(1.6783, 50), std::pair(3.8897, 90)}) {
            EXPECT_LT(model.position(1 + radians / omega - 1.0 / 120).x, x);
            EXPECT_GT(model.position(1 + radians / omega + 1.0 / 120).x, x);
        }
        double previous = 0;
        for (double t = 0; t < 5; t += 0.01) {
            const Point at = model.position(t);
            EXPECT_GE(at.x, previous - 1e-9) << "it never swings back";
            EXPECT_LE(at.x, 100 + 1e-9);
            EXPECT_NEAR(at.y, at.x / -2, 1e-9);
            previous = at.x;
        }
        EXPECT_NEAR(previous, 100, 1e-6);
    }
}

// As the recorder logs it: the place at a click, after 0.4 s of rest, and just before the next move.
TEST(CursorRenderModel, theTipLiesWhereAPointerAtRestHasClicked) {
    Samples samples;
    for (int i = 0; i <= 60; ++i) {  // a hand's way over 1000 px, with the least jerk
        const double s = i / 60.0;
        samples.push_back({0.25 + 0.75 * s, 1000 * s * s * s * (10 - 15 * s + 6 * s * s), 0});
    }
    samples.insert(samples.end(), {{1.3, 1000, 0}, {1.4, 1000, 0}, {4, 1000, 0}, {4.01, 1500, 0}});
    for (const auto& [smoothing, distance] :
         {std::pair(CursorSmoothing::off, 1e-9), std::pair(CursorSmoothing::subtle, 2.0),
          std::pair(CursorSmoothing::smooth, 2.0), std::pair(CursorSmoothing::ultra, 45.0)}) {
        SCOPED_TRACE(distance);
        const auto model = modelOf(logOf(samples), smoothing);
        EXPECT_NEAR(model.position(1.3).x, 1000, distance);
        for (const double t : {2.0, 3.0, 3.99}) EXPECT_NEAR(model.position(t).x, 1000, 1);
        EXPECT_EQ(model.opacity(3.39), 1);
        EXPECT_LT(model.opacity(3.41), 1);
    }
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
    std::swap(clicks[0], clicks[2]);  // a damaged log, out of order
    EXPECT_EQ(modelOf(logOf({}, clicks), CursorSmoothing::smooth).ripples(5.5).size(), 2U);
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
