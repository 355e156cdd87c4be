#include "Engine/Motion/CameraModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace lumenwhirl {
namespace {

constexpr Size frame{1920, 1080};

CursorRenderModel cursorAlong(std::vector<CursorSample> samples) {
    EventLog log;
    log.cursor = std::move(samples);
    CursorStyle style;
    style.smoothing = CursorSmoothing::off;
    return {log, style, 0.4, 0.6};
}

CursorRenderModel restingCursor(Point at) {
    return cursorAlong({{0, at.x, at.y}});
}

CameraModel cameraOf(std::vector<ZoomSegment> segments, double zoomBias = 1,
                     const CursorRenderModel& cursor = restingCursor({0, 0})) {
    return {std::move(segments), cursor, frame, 0.6, 0.6, zoomBias};
}

ClickEvent clickAt(double t, double x = 0) {
    return {t, x, 0, MouseButton::left, ClickPhase::down};
}

/// Dense and overlapping, some without length, some that do not zoom.
std::vector<ZoomSegment> randomSegments(unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> tenths(0, 200), length(-2, 40), level(5, 40);
    std::vector<ZoomSegment> segments;
    for (int index = 0; index < 15; ++index) {
        const double start = tenths(random) * 0.1;
        segments.push_back(
            {std::to_string(index), start, start + length(random) * 0.1, level(random) * 0.1, true});
    }
    return segments;
}

TEST(CameraModel, zoomsInHoldsAndZoomsOut) {
    const CameraModel camera = cameraOf({{"a", 2, 6, 2, true}});
    EXPECT_EQ(camera.scale(1.9), 1);
    EXPECT_NEAR(camera.scale(2.15), 1.0625, 1e-12);  // cubic: 4 / 4^3 after a quarter of the 0.6 s ramp
    EXPECT_NEAR(camera.scale(2.3), 1.5, 1e-12);
    EXPECT_EQ(camera.scale(2.6), 2);
    EXPECT_EQ(camera.scale(5.4), 2);
    EXPECT_NEAR(camera.scale(5.7), 1.5, 1e-12);
    EXPECT_NEAR(cameraOf({{"a", 2, 6, 2, true}}, 1.4).scale(4), 2.4, 1e-12);
    // 0.8 s leave 0.4 s for each ramp.
    EXPECT_NEAR(cameraOf({{"a", 2, 2.8, 2, true}}).scale(2.2), 1.5, 1e-12);
    EXPECT_EQ(cameraOf({{"a", 2, 2, 3, true}}).scale(2), 3) << "no length, no ramps";
    for (double t = 1.5; t < 6.5; t += 0.001)
        EXPECT_NEAR(camera.scale(t), camera.scale(t + 0.001), 0.0051);  // 3 / 0.6 a second at the steepest
}

TEST(CameraModel, theViewStaysInsideTheFrame) {
    const CameraModel corner = cameraOf({{"a", 0, 20, 2, true}});
    EXPECT_EQ(corner.state(10).center, (Point{480, 270}));  // a quarter of the frame, never the corner itself
    std::mt19937 random(4);
    std::uniform_real_distribution<double> anywhere(-500, 2500);
    for (unsigned seed = 0; seed < 20; ++seed) {
        std::vector<CursorSample> path;
        for (double t = 0; t < 25; t += 0.2) path.push_back({t, anywhere(random), anywhere(random)});
        const CameraModel camera = cameraOf(randomSegments(seed), 1.4, cursorAlong(path));
        for (double t = -1; t < 26; t += 0.05) {
            const CameraState state = camera.state(t);
            if (!(state.scale > 1.001)) {
                EXPECT_EQ(state.center, (Point{960, 540}));
                continue;
            }
            const double width = frame.width / state.scale, height = frame.height / state.scale;
            EXPECT_GE(state.center.x - width / 2, -1e-9);
            EXPECT_LE(state.center.x + width / 2, frame.width + 1e-9);
            EXPECT_GE(state.center.y - height / 2, -1e-9);
            EXPECT_LE(state.center.y + height / 2, frame.height + 1e-9);
        }
    }
}

TEST(CameraModel, ofOverlappingZoomsTheFirstIsShown) {
    for (unsigned seed = 0; seed < 40; ++seed) {
        SCOPED_TRACE(seed);
        std::vector<ZoomSegment> zooms = randomSegments(seed);
        const CameraModel camera = cameraOf(zooms, 1.15);
        std::stable_sort(zooms.begin(), zooms.end(),
                         [](auto& left, auto& right) { return left.start < right.start; });
        for (double t = -0.5; t < 26; t += 0.05) {
            const auto first = std::find_if(zooms.begin(), zooms.end(), [t](const ZoomSegment& zoom) {
                return zoom.start <= t && t <= zoom.end;
            });
            ASSERT_EQ(camera.scale(t), first == zooms.end() ? 1 : cameraOf({*first}, 1.15).scale(t)) << t;
        }
    }
}

TEST(CameraModel, theCenterGlidesToTheCursorInEachZoom) {
    const CameraModel camera =
        cameraOf({{"a", 1, 5, 4, true}, {"b", 8, 12, 4, true}}, 1, restingCursor({1200, 700}));
    for (const double start : {1.0, 8.0}) {
        // It sets out from the middle once the zoom exceeds 1.001: 4 p^3 * 3 of the ramp p. A critically damped
        // spring of 6 rad/s covers half the way in 1.6783 / 6 s and nine tenths in 3.8897 / 6 s; a step has 1/120
        // s.
        const double begin = start + 0.6 * std::cbrt(0.001 / 12);
        for (const auto& [radians, way] : {std::pair(1.6783, 0.5), std::pair(3.8897, 0.9)}) {
            const Point at{960 + 240 * way, 540 + 160 * way};
            const Point before = camera.state(begin + radians / 6 - 0.017).center;
            const Point after = camera.state(begin + radians / 6 + 0.017).center;
            EXPECT_TRUE(before.x < at.x && at.x < after.x) << before.x << " to " << after.x;
            EXPECT_TRUE(before.y < at.y && at.y < after.y) << before.y << " to " << after.y;
        }
    }
}

TEST(CameraModel, damagedTimesNeitherHangNorExhaustMemory) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    for (const auto& [start, end] : {std::pair{0.0, 1e15},
                                     {0.0, infinity},
                                     {-infinity, 5.0},
                                     {nan, 5.0},
                                     {3.0, nan},
                                     {1e17, 1e17 + 64},
                                     {nan, nan}}) {
        const CameraModel camera = cameraOf({{"a", start, end, 2, true}, {"b", start, end, 3, true}});
        for (const double t : {start, end, 4.0}) {
            const CameraState state = camera.state(t);
            EXPECT_TRUE(state.center.x >= 0 && state.center.x <= frame.width) << start << " to " << end;
        }
    }
}

TEST(CameraModel, clicksCloseInTimeAndPlaceShareOneZoom) {
    const auto zooms = [](const std::vector<ClickEvent>& clicks) { return CameraModel::autoSegments(clicks, {}); };
    EXPECT_TRUE(zooms({}).empty());
    EXPECT_TRUE(zooms({{1, 0, 0, MouseButton::left, ClickPhase::up}}).empty());

    // One cluster: from 1.0 - 0.6 to 2.5 + 1.0 + 0.6.
    auto one = zooms({clickAt(2.5, 100), clickAt(1)});
    ASSERT_EQ(one.size(), 1U);
    EXPECT_EQ(one[0].id, "auto-0");
    EXPECT_NEAR(one[0].start, 0.4, 1e-12);
    EXPECT_NEAR(one[0].end, 4.1, 1e-12);
    EXPECT_EQ(one[0].level, 1.75);
    EXPECT_FALSE(one[0].manual);

    // Far apart they are two clusters, 0.4...2.6 and 1.9...4.1, which overlap and are joined.
    EXPECT_EQ(zooms({clickAt(1), clickAt(2.5, 500)}), one);
    // The spans 0.4...2.6 and 2.9...: 0.3 s apart are joined, more are not.
    EXPECT_EQ(zooms({clickAt(1), clickAt(3.49, 0)}).size(), 1U);
    const auto two = zooms({clickAt(0.2), clickAt(3.6)});
    ASSERT_EQ(two.size(), 2U);
    EXPECT_EQ(two[0].start, 0) << "no zoom starts before the recording";
    EXPECT_EQ(two[1].id, "auto-1");
    // A click's distance to the previous one decides, not that to the first.
    EXPECT_EQ(zooms({clickAt(1, 0), clickAt(2, 400), clickAt(3, 800), clickAt(5, 1200)}).size(), 1U);
}

}  // namespace
}  // namespace lumenwhirl
