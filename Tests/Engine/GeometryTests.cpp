#include "Engine/Geometry/AspectRatio.h"
#include "Engine/Geometry/Coordinates.h"

#include <gtest/gtest.h>

namespace lumenwhirl {
namespace {

const DisplayInfo display{7, 2880, 1800, 1440, 900, 2, 100, -50};

TEST(Coordinates, screenPointsLandOnPixelsAndStayInside) {
    using Coordinates::globalPointToCapturedPixels;
    EXPECT_EQ(globalPointToCapturedPixels({110.5, -45}, display), (Point{21, 10}));  // (10.5, 5) points at scale 2
    EXPECT_EQ(globalPointToCapturedPixels({99, -51}, display), (Point{0, 0}));
    EXPECT_EQ(globalPointToCapturedPixels({5000, 5000}, display), (Point{2880, 1800}));
    EXPECT_EQ(globalPointToCapturedPixels({1540, 850}, display),
              (Point{2880, 1800}));  // the edge itself is allowed
    EXPECT_EQ(Coordinates::capturedPixelsToGlobalPoint({-20, 4000}, display), (Point{90, 1950}));  // not clamped
}

TEST(AspectRatio, onlyTheExactNamesAreKnown) {
    for (const AspectRatio each : AspectRatio::allCases)
        EXPECT_EQ(AspectRatio::fromRawValue(each.rawValue()), each);
    EXPECT_EQ(AspectRatio::fromRawValue("16:9 "), std::nullopt);
    EXPECT_EQ(AspectRatio::fromString("4:3"), AspectRatio(AspectRatio::r16x9));
    EXPECT_EQ(AspectRatio::fromString("1:1").zoomBias(), 1.15);
}

TEST(AspectRatio, canvasesAreEvenAndFollowTheWidthAlone) {
    const auto canvas = [](AspectRatio ratio, double width) { return ratio.canvas({width, 12345}); };
    EXPECT_EQ(canvas(AspectRatio::r16x9, 1440), (Size{1440, 810}));
    EXPECT_EQ(canvas(AspectRatio::r1x1, 1440), (Size{1440, 1440}));
    EXPECT_EQ(canvas(AspectRatio::r9x16, 1440), (Size{810, 1440}));
    EXPECT_EQ(canvas(AspectRatio::r16x9, 1000), (Size{1000, 562}));  // 562.5 rounds to 563, then down to even
    EXPECT_EQ(canvas(AspectRatio::r1x1, 1001.5), (Size{1002, 1002}));
    EXPECT_EQ(canvas(AspectRatio::r16x9, 1), (Size{2, 0}));  // from base 2: 1.125 rounds to 1
}

}  // namespace
}  // namespace lumenwhirl
