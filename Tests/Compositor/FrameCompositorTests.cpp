#include "Compositor/FrameCompositor.h"

#include "Tests/Compositor/TestPictures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <deque>
#include <memory>
#include <numbers>
#include <string>

namespace lumenwhirl {
namespace {

using testing::centroid;
using testing::flatPicture;

constexpr Color white{1, 1, 1, 1}, grey{0.5, 0.5, 0.5, 1}, black{0, 0, 0, 1};

Size sizeOf(const Picture& picture) {
    return {static_cast<double>(picture.width()), static_cast<double>(picture.height())};
}

using Implementation = FrameCompositor::Implementation;

/// The same tests for every way to compose frames.
class FrameCompositorTest : public ::testing::TestWithParam<Implementation> {
protected:
    template <class Sample = std::uint8_t>
    [[nodiscard]] static std::unique_ptr<FrameCompositor> make(int threads = 1, Implementation how = GetParam()) {
        return FrameCompositor::make(PictureFormat<Sample>::pixelFormat, threads, how);
    }
    template <class Sample = std::uint8_t>
    [[nodiscard]] static Picture finished(const Picture& frame, const RenderStyle& style, Size canvas,
                                          const FrameState& state, int threads = 1,
                                          Implementation how = GetParam()) {
        const auto compositor = make<Sample>(threads, how);
        compositor->prepare(style, canvas, sizeOf(frame));
        return compositor->compose(frame, state);
    }
    /// The content alone, unstyled.
    [[nodiscard]] static Picture content(const Picture& frame, const FrameState& state) {
        return make()->compose(frame, state);
    }
    template <class Sample>
    void expectPlacesKept() const;
    template <class Sample>
    void expectChangesDrawn(unsigned seed, int threads) const;
};
INSTANTIATE_TEST_SUITE_P(Every, FrameCompositorTest, ::testing::ValuesIn(FrameCompositor::allImplementations),
                         [](const auto& implementation) {
                             return std::string(
                                 implementation.param == Implementation::planar ? "planar" : "planarReference");
                         });

int lumaAt(const Picture& picture, int x, int y) {
    return picture.planes()[0].row(y)[x];
}

FrameState onlyCursor(Point position, double size) {
    FrameState state;
    state.cursor = {position, 1, {}};
    state.cursorSize = size;
    return state;
}

/// How much darker than the surroundings each pixel is.
testing::Centroid darkness(const Picture& picture) {
    const int around = lumaAt(picture, 1, 1);
    return centroid(picture.width(), picture.height(),
                    [&](int x, int y) { return std::max(around - lumaAt(picture, x, y), 0); });
}

// The arrow's dark fill is a polygon with the tip at (0, 0). By the shoelace formula its corners (0,0) (0,.74)
// (.2,.57)
// (.31,.86) (.42,.82) (.31,.53) (.55,.53), in units of the height / 0.86, enclose 0.2092 round (0.1932, 0.4443).
// On white the rim round it does not show.
constexpr double arrowArea = 0.2092, arrowX = 0.1932, arrowY = 0.4443;

TEST_P(FrameCompositorTest, theCursorsTipLandsOnItsPosition) {
    const Picture frame = flatPicture(1280, 720, white);
    // Size 2 on a short side of 720: 2 * 720 * 0.03 = 43.2, drawn 43 pixels high.
    const double unit = 43 / 0.86;
    for (const Point tip : {Point{300, 200}, Point{300.5, 200.25}, Point{641.75, 333.4}}) {
        const auto dark = darkness(content(frame, onlyCursor(tip, 2)));
        EXPECT_NEAR(dark.x, tip.x + arrowX * unit, 0.15);
        EXPECT_NEAR(dark.y, tip.y + arrowY * unit, 0.15);
        const double depth = 219 * (1 - 0.05);  // white to the fill, in luma codes
        EXPECT_NEAR(dark.weight / depth, arrowArea * unit * unit, 12);
    }
    // At a zoom of 2 about (320, 200) the camera shows from (0, 20) on: the tip (300, 200) is at (600, 360), twice
    // as large.
    FrameState zoomed = onlyCursor({300, 200}, 2);
    zoomed.camera = CameraState{{320, 200}, 2};
    const auto dark = darkness(content(frame, zoomed));
    EXPECT_NEAR(dark.x, 600 + arrowX * 2 * unit, 0.2);
    EXPECT_NEAR(dark.y, 360 + arrowY * 2 * unit, 0.2);
    // On a canvas of half the size with a padding of 20 the video is 320 high, 4/9 of it, centred at (320, 180).
    RenderStyle style;
    style.background = RenderStyle::Solid{white};
    style.paddingPx = 20;
    const auto styled = darkness(finished(frame, style, {640, 360}, onlyCursor({300, 200}, 2)));
    const double scale = 320.0 / 720, left = 320 - 640 * scale, top = 20;
    EXPECT_NEAR(styled.x, left + (300 + arrowX * unit) * scale, 0.15);
    EXPECT_NEAR(styled.y, top + (200 + arrowY * unit) * scale, 0.15);
}

TEST_P(FrameCompositorTest, aRippleIsACircleRoundItsClickThatGrowsAndFades) {
    const Picture frame = flatPicture(1280, 720, grey);
    const auto lightness = [&](double progress) {
        FrameState state;
        state.cursor.ripples = {{{400.5, 300.25}, progress}};
        const Picture out = content(frame, state);
        const auto weigh = [&](int x, int y) { return std::max(lumaAt(out, x, y) - lumaAt(out, 1, 1), 0); };
        const auto middle = centroid(out.width(), out.height(), weigh);
        const auto radius = centroid(out.width(), out.height(), [&](int x, int y) { return 1.0 * weigh(x, y); });
        double sum = 0;
        for (int y = 0; y < out.height(); ++y)
            for (int x = 0; x < out.width(); ++x)
                sum += weigh(x, y) * std::hypot(x + 0.5 - 400.5, y + 0.5 - 300.25);
        return std::tuple(middle, sum / radius.weight);
    };
    const auto [middle, radius] = lightness(0.5);  // 0.05 * 720 * 0.5 = 18 pixels
    EXPECT_NEAR(middle.x, 400.5, 0.1);
    EXPECT_NEAR(middle.y, 300.25, 0.1);
    EXPECT_NEAR(radius, 18, 0.25);
    // The line is 10/120 of the radius wide and covers (1 - 0.5) * 0.7 of the grey below: 2 pi 18 * 1.5 * 0.35 *
    // 109.5.
    EXPECT_NEAR(middle.weight, 2 * std::numbers::pi * 18 * 1.5 * 0.35 * 109.5, 260);
    FrameState gone;
    gone.cursor.ripples = {{{400, 300}, 0}, {{400, 300}, 0.99}};
    EXPECT_EQ(darkness(content(frame, gone)).weight, 0);
}

TEST_P(FrameCompositorTest, theVideosEdgeIsWhereThePaddingPutsIt) {
    RenderStyle style;  // a white video on black
    style.paddingPx = 30.25;
    style.cornerRadiusPx = 12;
    const Picture out = finished(flatPicture(320, 180, white), style, {320, 180}, {});
    // The box is 259.5 x 119.5, so the video is 119.5 high and 212.444 wide, its left edge at 160 - 106.222
    // = 53.778.
    const auto luma = [](double coverage) { return 16 + 219 * coverage; };
    EXPECT_NEAR(lumaAt(out, 53, 90), luma(0.222), 2);
    EXPECT_NEAR(lumaAt(out, 52, 90), luma(0), 0);
    EXPECT_NEAR(lumaAt(out, 54, 90), luma(1), 0);
    EXPECT_NEAR(lumaAt(out, 160, 30), luma(0.75), 2);
    EXPECT_NEAR(lumaAt(out, 160, 149), luma(0.75), 2);
    // The corner's circle is about (65.778, 42.25): a pixel 12 + 1.5 away on the diagonal is outside, 12 - 1.5
    // inside.
    const auto diagonal = [&](double distance) {
        const double d = distance / std::numbers::sqrt2;
        return lumaAt(out, static_cast<int>(std::floor(65.778 - d)), static_cast<int>(std::floor(42.25 - d)));
    };
    EXPECT_EQ(diagonal(13.5), luma(0));
    EXPECT_EQ(diagonal(10.5), luma(1));
    double area = 0;
    for (int y = 0; y < 180; ++y)
        for (int x = 0; x < 320; ++x) area += (lumaAt(out, x, y) - 16) / 219.0;
    EXPECT_NEAR(area, 212.444 * 119.5 - (4 - std::numbers::pi) * 144, 12);
}

TEST_P(FrameCompositorTest, extremeStylesStayCentred) {
    RenderStyle style;
    style.paddingPx = 20;
    style.cornerRadiusPx = 500;  // reduced to half the video's height: a disc for a square video
    const Picture disc = finished(flatPicture(200, 200, white), style, {240, 240}, {});
    double area = 0;
    for (int y = 0; y < 240; ++y)
        for (int x = 0; x < 240; ++x) area += (lumaAt(disc, x, y) - 16) / 219.0;
    EXPECT_NEAR(area, std::numbers::pi * 100 * 100, 30);
    style.paddingPx = 500;  // a box of one pixel far outside the canvas: nothing of the video is seen
    EXPECT_EQ(lumaAt(finished(flatPicture(200, 200, white), style, {240, 240}, {}), 120, 120), 16);
}

TEST_P(FrameCompositorTest, theShadowIsAGaussianMovedDown) {
    RenderStyle style;
    style.background = RenderStyle::Solid{white};
    style.paddingPx = 80;
    style.shadow = {0.5, 10, 8};
    const Picture out = finished(flatPicture(640, 360, white), style, {640, 360}, {});
    // The video is 200 high from 80 to 280. Far from corners the blurred edge at distance d outside is the normal
    // distribution's tail at d / 10: 0.5 at the moved edge (y = 288), 0.1587 ten pixels further.
    const auto shade = [&](int x, double y) {  // between pixel rows
        const int row = static_cast<int>(y);
        return (235 - 0.5 * (lumaAt(out, x, row - 1) + lumaAt(out, x, row))) / 219;
    };
    EXPECT_NEAR(shade(320, 288), 0.5 * 0.5, 0.008);
    EXPECT_NEAR(shade(320, 298), 0.5 * 0.1587, 0.008);
    EXPECT_NEAR(shade(320, 62), 0.5 * 0.00466, 0.006);  // 26 pixels above the moved upper edge (88)
    const double left = 320 - 200 * 640.0 / 360 / 2;
    EXPECT_NEAR(shade(static_cast<int>(left - 10), 184), 0.5 * 0.17, 0.015);  // half a pixel nearer than 10
    EXPECT_EQ(lumaAt(out, 320, 180), 235);                                    // under the video nothing shows
}

TEST_P(FrameCompositorTest, theBorderRunsInsideTheVideosEdge) {
    RenderStyle style;
    style.background = RenderStyle::Solid{grey};
    style.paddingPx = 20;
    style.border = RenderStyle::Border{4, black};
    const Picture out = finished(flatPicture(320, 180, white), style, {320, 180}, {});
    // The video is 140 high from 20 to 160; the border covers its outermost four pixels.
    EXPECT_NEAR(lumaAt(out, 160, 18), 126, 1);
    for (const int y : {20, 21, 22, 23, 156, 157, 158, 159}) EXPECT_NEAR(lumaAt(out, 160, y), 16, 1) << y;
    EXPECT_EQ(lumaAt(out, 160, 25), 235);
    EXPECT_NEAR(lumaAt(out, 160, 161), 126, 1);
}

struct Box {
    int left = 100000, top = 100000, right = -1, bottom = -1;
};

Box darkBox(const Picture& picture) {
    Box box;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            if (lumaAt(picture, x, y) > 200) continue;
            box = {std::min(box.left, x), std::min(box.top, y), std::max(box.right, x + 1),
                   std::max(box.bottom, y + 1)};
        }
    }
    return box;
}

TEST_P(FrameCompositorTest, pillsAndCaptionStandWhereTheyBelong) {
    const Picture frame = flatPicture(1280, 720, white);
    FrameState pills;
    pills.keystrokes = {{"⇧⌘S", 1}, {"⎋", 1}};
    const Box alone = darkBox(content(frame, pills));
    // 0.05 * 720 = 36 pixels high, the lower edge 6 % of 720 above the frame's: from 640.8 to 676.8; centred.
    EXPECT_NEAR(alone.top, 641, 1);
    EXPECT_NEAR(alone.bottom, 677, 1);
    EXPECT_NEAR(alone.left + alone.right, 1280, 2);

    FrameState caption;
    caption.caption = "A caption";
    const Box plate = darkBox(content(frame, caption));
    EXPECT_NEAR(plate.bottom, 720 - 36, 1);  // 5 % above the lower edge
    EXPECT_NEAR(plate.left + plate.right, 1280, 2);
    // Font 0.034 * 720 = 24.48; a line of Inter is 1.21 high, plus twice 0.55: some 56 pixels.
    EXPECT_NEAR(plate.bottom - plate.top, 24.48 * (1.21 + 1.1), 3);
    caption.captionStyle.position = "top";
    EXPECT_NEAR(darkBox(content(frame, caption)).top, 36, 1);
    caption.captionStyle.position = "center";
    const Box middle = darkBox(content(frame, caption));
    EXPECT_NEAR(middle.top + middle.bottom, 720, 2);

    FrameState both = pills;
    both.caption = "A caption";
    const Box all = darkBox(content(frame, both));
    EXPECT_NEAR(all.top, plate.top - 0.02 * 720 - 36, 1.5);  // pills stand 2 % of 720 above the plate
    caption = {};
    caption.caption = "";
    EXPECT_EQ(darkBox(content(frame, caption)).right, -1);
}

TEST_P(FrameCompositorTest, longCaptionsWrapAtTwoThirds) {
    FrameState state;
    state.caption =
        "One two three four five six seven eight nine ten eleven twelve thirteen fourteen fifteen sixteen";
    const Picture frame = flatPicture(1280, 720, white);
    const Box wrapped = darkBox(content(frame, state));
    EXPECT_LE(wrapped.right - wrapped.left, 1280 * 0.66 + 2 * 0.9 * 24.48 + 2);
    EXPECT_GT(wrapped.bottom - wrapped.top, 24.48 * (2 * 1.21 + 1.1) - 3);
    state.captionStyle.backgroundColor = "#00000000";
    state.captionStyle.textColor = "#FFFFFF";
    EXPECT_EQ(darkBox(content(frame, state)).right, -1);  // white text without a plate on white
}

TEST_P(FrameCompositorTest, theCameraIsHeldInsideTheFrameAndIgnoresTinyZooms) {
    const Picture frame = pictureFromImage(testing::scenery(640, 360));
    const auto shown = [&](CameraState camera) {
        FrameState state;
        state.camera = camera;
        return content(frame, state);
    };
    const auto same = [](const Picture& a, const Picture& b) {
        for (std::size_t p = 0; p < 3; ++p)
            for (int y = 0; y < a.planes()[p].height; ++y)
                for (int x = 0; x < a.planes()[p].width; ++x)
                    if (a.planes()[p].row(y)[x] != b.planes()[p].row(y)[x]) return false;
        return true;
    };
    EXPECT_TRUE(same(shown({{10, 10}, 1.001}), frame));
    EXPECT_FALSE(same(shown({{10, 10}, 1.01}), frame));
    EXPECT_TRUE(same(shown({{0, 0}, 2}), shown({{160, 90}, 2})));
    EXPECT_TRUE(same(shown({{9999, 9999}, 2}), shown({{480, 270}, 2})));
    EXPECT_FALSE(same(shown({{0, 0}, 2}), shown({{480, 270}, 2})));
}

// Slow waves in every plane, drawn where each plane's samples sit, must come out as the same waves at the mapped
// places: any error in the placement of luma or chroma, or in the order of camera and layout, shifts them.
template <class Sample>
void FrameCompositorTest::expectPlacesKept() const {
    constexpr double unit = PictureFormat<Sample>::unit;
    constexpr bool isHalved = PictureFormat<Sample>::chromaRowsShift == 1;
    const auto wave = [](int plane, double x, double y) {
        return 120 + 60 * std::sin(0.021 * x + 0.7 * plane) * std::cos(0.017 * y - 0.4 * plane);
    };
    const auto siteOf = [](int plane, int i) { return plane == 0 ? i + 0.5 : 2 * i + 0.5; };  // across
    const auto lineOf = [](int plane, int j) { return plane == 0 ? j + 0.5 : 2 * j + 1.0; };  // down
    const auto finishedLineOf = [&](int plane, int j) { return isHalved ? lineOf(plane, j) : j + 0.5; };
    Picture frame(960, 540, PixelFormat::yuv420p8);
    for (int p = 0; p < 3; ++p) {
        const Plane<std::uint8_t> plane = frame.mutablePlanes()[static_cast<std::size_t>(p)];
        for (int y = 0; y < plane.height; ++y)
            for (int x = 0; x < plane.width; ++x)
                plane.row(y)[x] = static_cast<std::uint8_t>(std::lround(wave(p, siteOf(p, x), lineOf(p, y))));
    }
    RenderStyle style;
    style.paddingPx = 33.3;
    for (const double zoom : {1.0, 1.37, 2.5}) {
        for (const Size canvas : {Size{960, 540}, Size{480, 480}, Size{1280, 720}}) {
            SCOPED_TRACE(zoom);
            FrameState state;
            state.camera = CameraState{{400, 250}, zoom};
            const Picture out = finished<Sample>(frame, style, canvas, state);
            const double scale = std::min((canvas.width - 66.6) / 960, (canvas.height - 66.6) / 540);
            const double left = canvas.width / 2 - 480 * scale, top = canvas.height / 2 - 270 * scale;
            const double viewLeft = zoom > 1 ? std::max(400 - 480 / zoom, 0.0) : 0;
            const double viewTop = zoom > 1 ? std::max(250 - 270 / zoom, 0.0) : 0;
            double worst = 0;
            for (int p = 0; p < 3; ++p) {
                const auto plane = out.planes<Sample>()[static_cast<std::size_t>(p)];
                for (int y = 0; y < plane.height; ++y) {
                    for (int x = 0; x < plane.width; ++x) {
                        const double u = (siteOf(p, x) - left) / scale, v = (finishedLineOf(p, y) - top) / scale;
                        if (u < 8 || v < 8 || u > 952 || v > 532) continue;
                        const double expected = wave(p, u / zoom + viewLeft, v / zoom + viewTop);
                        worst = std::max(worst, std::abs(plane.row(y)[x] / unit - expected));
                    }
                }
            }
            EXPECT_LT(worst, 1.3);  // a tenth of a pixel's shift would add 0.13 to the rounding of two steps
        }
    }
}

TEST_P(FrameCompositorTest, lumaAndChromaKeepTheirPlaces) {
    expectPlacesKept<std::uint8_t>();
    expectPlacesKept<std::uint16_t>();
}

FrameState randomState(std::mt19937& random, Size frame) {
    std::uniform_real_distribution<double> unit(0, 1);
    FrameState state;
    state.cursor = {
        {frame.width * (1.2 * unit(random) - 0.1), frame.height * (1.2 * unit(random) - 0.1)}, unit(random), {}};
    for (auto i = random() % 3; i > 0; --i)
        state.cursor.ripples.push_back({{frame.width * unit(random), frame.height * unit(random)}, unit(random)});
    state.cursorSize = 0.3 + 4 * unit(random);
    if (random() % 3 > 0)
        state.camera =
            CameraState{{frame.width * unit(random), frame.height * unit(random)}, 0.9 + 2 * unit(random)};
    if (random() % 2 == 0) state.keystrokes = {{"⌘K", unit(random)}, {"⌃⌥←", 1}};
    if (random() % 2 == 0) state.caption = "Some words to read";
    const char* const positions[] = {"top", "center", "bottom"};
    state.captionStyle.position = positions[random() % 3];
    return state;
}

RenderStyle randomStyle(std::mt19937& random) {
    std::uniform_real_distribution<double> unit(0, 1);
    RenderStyle style;
    style.background = RenderStyle::Gradient{{unit(random), 0.3, 0.4, 1}, {0.2, unit(random), 0.9, 1}};
    style.paddingPx = 40 * unit(random);
    style.cornerRadiusPx = 40 * unit(random);
    style.shadow = {unit(random), 20 * unit(random), 10 * unit(random)};
    if (random() % 2 == 0) style.border = RenderStyle::Border{1 + 3 * unit(random), {1, 1, 1, 0.4}};
    return style;
}

template <class Sample = std::uint8_t>
void expectSame(const Picture& a, const Picture& b) {
    for (std::size_t p = 0; p < 3; ++p) {
        const auto left = a.planes<Sample>()[p], right = b.planes<Sample>()[p];
        for (int y = 0; y < left.height; ++y)
            for (int x = 0; x < left.width; ++x)
                ASSERT_EQ(left.row(y)[x], right.row(y)[x]) << "plane " << p << " at " << x << ", " << y;
    }
}

TEST_P(FrameCompositorTest, neitherTheImplementationNorThreadsChangeFrames) {
    std::mt19937 random(3);
    for (int round = 0; round < 25; ++round) {
        SCOPED_TRACE(round);
        const auto side = [&](int most) { return 2 * (8 + static_cast<int>(random() % 1000) % (most / 2)); };
        const Picture frame = testing::noisePicture(side(500), side(400), static_cast<unsigned>(random()));
        const Size canvas{static_cast<double>(side(500)), static_cast<double>(side(400))};
        const RenderStyle style = randomStyle(random);
        const FrameState state = randomState(random, sizeOf(frame));
        const auto compare = [&]<class Sample>(Sample) {
            const Picture expected =
                finished<Sample>(frame, style, canvas, state, 1, Implementation::planarReference);
            expectSame<Sample>(finished<Sample>(frame, style, canvas, state), expected);
            expectSame<Sample>(finished<Sample>(frame, style, canvas, state, 3), expected);
        };
        compare(std::uint8_t{});
        compare(std::uint16_t{});
    }
}

// Frames of 10 bits and 4:2:2 show the same as those of 8 bits and 4:2:0, in finer steps and with chroma on every
// row.
TEST_P(FrameCompositorTest, deepFramesShowTheSame) {
    std::mt19937 random(11);
    for (int round = 0; round < 10; ++round) {
        SCOPED_TRACE(round);
        const Picture frame = pictureFromImage(testing::scenery(640, 360));
        const RenderStyle style = randomStyle(random);
        const FrameState state = randomState(random, sizeOf(frame));
        const auto coarse = finished(frame, style, {700, 420}, state);
        const auto fine = finished<std::uint16_t>(frame, style, {700, 420}, state);
        double worstLuma = 0, chromaDifference = 0, finerSteps = 0;
        for (std::size_t p = 0; p < 3; ++p) {
            const auto wanted = coarse.planes()[p];
            const auto got = fine.planes<std::uint16_t>()[p];
            ASSERT_EQ(got.height, 420);
            for (int y = 0; y < wanted.height; ++y) {
                for (int x = 0; x < wanted.width; ++x) {
                    if (p == 0) {
                        worstLuma = std::max(worstLuma, std::abs(wanted.row(y)[x] - got.row(y)[x] / 4.0));
                        finerSteps += got.row(y)[x] % 4 != 0 ? 1 : 0;
                    } else {
                        const double both = (got.row(2 * y)[x] + got.row(2 * y + 1)[x]) / 8.0;
                        chromaDifference += std::abs(wanted.row(y)[x] - both) / (2.0 * 350 * 210);
                    }
                }
            }
        }
        EXPECT_LE(worstLuma, 2);  // each of three layers at most rounds half a step away
        EXPECT_LT(chromaDifference, 1);
        EXPECT_GT(finerSteps, 700 * 420 / 3.0);
    }
}

// Finished frames are used again once their readers let go of them, and rows that they or the last frame show
// already are not drawn again; what comes out must not tell. The film has still and changing stretches, a camera
// that rests and moves, overlays that come, stay, move and go, and readers that hold frames for a while.
template <class Sample>
void FrameCompositorTest::expectChangesDrawn(unsigned seed, int threads) const {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const Size canvas{420, 320}, content{320, 200};
    RenderStyle style = randomStyle(random);
    const auto compositor = make<Sample>(threads);
    compositor->prepare(style, canvas, content);

    Picture source = testing::noisePicture(320, 200, seed);
    FrameState state = randomState(random, content);
    std::deque<Picture> held;
    for (int i = 0; i < 40; ++i) {
        SCOPED_TRACE(i);
        if (random() % 2 == 0) {  // one sample of one plane changes
            source = testing::copyOf(source);
            const auto plane = source.mutablePlanes()[random() % 3];
            plane.row(static_cast<int>(
                random() % static_cast<unsigned>(plane.height)))[random() % static_cast<unsigned>(plane.width)] ^=
                0x55;
        }
        const FrameState other = randomState(random, content);
        switch (random() % 8) {
            case 0:
                state = other;
                break;
            case 1:
                state.camera = other.camera;
                break;
            case 2:
                state.cursor = other.cursor;
                break;
            case 3:
                state.caption = other.caption;
                break;
            case 4:
                state.keystrokes = other.keystrokes;
                break;
            default:
                break;  // stays
        }
        if (random() % 15 == 0) {
            style = randomStyle(random);
            compositor->prepare(style, canvas, content);
        }
        const Picture made = compositor->compose(source, state);
        expectSame<Sample>(made, finished<Sample>(source, style, canvas, state));
        if (::testing::Test::HasFatalFailure()) return;
        held.push_back(made);
        while (held.size() > random() % 5)
            held.erase(held.begin() + static_cast<std::ptrdiff_t>(random() % held.size()));
    }
}

TEST_P(FrameCompositorTest, changesAloneMakeTheSameFrames) {
    for (unsigned seed = 0; seed < 6; ++seed) {
        expectChangesDrawn<std::uint8_t>(seed, seed % 2 == 0 ? 1 : 3);
        expectChangesDrawn<std::uint16_t>(seed, 1);
    }
}

TEST_P(FrameCompositorTest, whatShowsTheSameIsTheSameFrame) {
    const Picture frame = testing::noisePicture(64, 64, 1);
    const auto compositor = make();
    const Picture first = compositor->compose(frame, onlyCursor({10, 10}, 2));
    EXPECT_TRUE(compositor->compose(frame, onlyCursor({10, 10}, 2)).isSame(first));
    EXPECT_FALSE(compositor->compose(frame, onlyCursor({10, 11}, 2)).isSame(first));
}

// Bands show where neighbouring rows of one value follow one another; dither mixes the two values in between.
TEST_P(FrameCompositorTest, gradientsHaveNoBands) {
    RenderStyle style;
    style.background =
        RenderStyle::Gradient{{0.20, 0.20, 0.22, 1}, {0.24, 0.24, 0.25, 1}};  // some 9 codes over 720 rows
    style.paddingPx = 300;                                                    // out of the way
    const Picture out = finished(flatPicture(16, 16, white), style, {640, 720}, {});
    for (int y = 20; y < 200; ++y) {
        double mean = 0;
        for (int x = 0; x < 300; ++x) mean += lumaAt(out, x, y) / 300.0;
        const double t = (y + 0.5) / 720;
        const double luma = (0.2126 + 0.7152) * (0.20 + t * 0.04) + 0.0722 * (0.22 + t * 0.03);
        ASSERT_NEAR(mean, 16 + 219 * luma, 0.12) << y;
    }
}

}  // namespace
}  // namespace lumenwhirl
