#include "Compositor/MissingGlyphs.h"
#include "Tests/Compositor/Composing.h"
#include "Tests/Pixels/TestPictures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>

namespace lumenwhirl {
namespace {

using testing::finished;
using testing::firstDifference;
using testing::flatPicture;

constexpr Color white{1, 1, 1, 1}, grey{0.5, 0.5, 0.5, 1}, black{0, 0, 0, 1};

/// The content alone, unstyled.
Picture content(const Picture& frame, const FrameState& state) {
    return FrameCompositor::make(PixelFormat::yuv420p8)->compose(frame, state);
}

int lumaAt(const Picture& picture, int x, int y) {
    return picture.planes()[0].row(y)[x];
}

FrameState onlyCursor(Point position, double size) {
    FrameState state;
    state.cursor = {position, 1, {}};
    state.cursorSize = size;
    return state;
}

struct Centroid {
    double x = 0, y = 0, weight = 0;
};

/// Of what `weigh(x, y)` gives, at pixel centres.
template <class Weigh>
Centroid centroid(const Picture& picture, Weigh&& weigh) {
    Centroid sum;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            const double w = weigh(x, y);
            sum.x += w * (x + 0.5), sum.y += w * (y + 0.5), sum.weight += w;
        }
    }
    return {sum.x / sum.weight, sum.y / sum.weight, sum.weight};
}

/// How much darker than the surroundings each pixel is.
Centroid darkness(const Picture& picture) {
    return centroid(picture,
                    [&](int x, int y) { return std::max(lumaAt(picture, 1, 1) - lumaAt(picture, x, y), 0); });
}

/// In pixels, of white on black.
double whiteArea(const Picture& picture) {
    return centroid(picture, [&](int x, int y) { return (lumaAt(picture, x, y) - 16) / 219.0; }).weight;
}

// The arrow's dark fill is a polygon with the tip at (0, 0). By the shoelace formula its corners (0,0) (0,.74)
// (.2,.57) (.31,.86) (.42,.82) (.31,.53) (.55,.53), in units of the height / 0.86, enclose 0.2092 round
// (0.1932, 0.4443). On white the rim round it does not show.
constexpr double arrowArea = 0.2092, arrowX = 0.1932, arrowY = 0.4443;

TEST(FrameCompositor, theCursorsTipLandsOnItsPosition) {
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

TEST(FrameCompositor, aRippleIsACircleRoundItsClickThatGrowsAndFades) {
    const Picture frame = flatPicture(1280, 720, grey);
    FrameState state;
    state.cursor.ripples = {{{400.5, 300.25}, 0.5}};
    const Picture out = content(frame, state);
    const auto lightness = [&](int x, int y) { return std::max(lumaAt(out, x, y) - lumaAt(out, 1, 1), 0); };
    const Centroid ring = centroid(out, lightness);
    EXPECT_NEAR(ring.x, 400.5, 0.1);
    EXPECT_NEAR(ring.y, 300.25, 0.1);
    const auto moment = [&](int x, int y) { return lightness(x, y) * std::hypot(x - 400, y - 299.75); };
    EXPECT_NEAR(centroid(out, moment).weight / ring.weight, 18, 0.25);  // 0.05 * 720 * 0.5 pixels
    // The line is 10/120 of the radius wide and covers (1 - 0.5) * 0.7 of the grey below.
    EXPECT_NEAR(ring.weight, 2 * std::numbers::pi * 18 * 1.5 * 0.35 * 109.5, 260);
    // A young one is as thin a circle, not a cross: its ink follows from its radius of 36 pixels times the
    // progress.
    for (const double progress : {0.05, 0.1, 0.15, 0.2}) {
        state.cursor.ripples = {{{400.5, 300.25}, progress}};
        const Picture young = content(frame, state);
        const double ink = 2 * std::numbers::pi * 36 * progress * 3 * progress * (1 - progress) * 0.7 * 109.5;
        const auto brighter = [&](int x, int y) { return lumaAt(young, x, y) - lumaAt(young, 1, 1); };
        EXPECT_NEAR(centroid(young, brighter).weight / ink, 1, 0.25) << progress;
    }
    state.cursor.ripples = {{{400, 300}, 0}, {{400, 300}, 0.99}};
    EXPECT_EQ(firstDifference(content(frame, state), frame), "");
}

TEST(FrameCompositor, theVideosEdgeIsWhereThePaddingPutsIt) {
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
    EXPECT_NEAR(whiteArea(out), 212.444 * 119.5 - (4 - std::numbers::pi) * 144, 12);
}

TEST(FrameCompositor, extremeStylesStayCentred) {
    RenderStyle style;
    style.paddingPx = 20;
    style.cornerRadiusPx = 500;  // reduced to half the video's height: a disc for a square video
    const Picture square = flatPicture(200, 200, white), disc = finished(square, style, {240, 240}, {});
    EXPECT_NEAR(whiteArea(disc), std::numbers::pi * 100 * 100, 30);
    style.paddingPx = 500;  // a box of one pixel far outside the canvas: nothing of the video is seen
    EXPECT_EQ(lumaAt(finished(square, style, {240, 240}, {}), 120, 120), 16);
    // A box one pixel high, 140 from the left and from the lower edge, in row 240 - 141 of a canvas of 480 x 240.
    style.paddingPx = 140;
    EXPECT_GT(lumaAt(finished(square, style, {480, 240}, {}), 240, 99), 100);
}

TEST(FrameCompositor, theShadowIsAGaussianMovedDown) {
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

    // A shadow wider than the padding: 8 columns of nothing, going on beyond the canvas, and then the video.
    style.paddingPx = 8;
    style.shadow = {0.5, 32, 0};
    const Picture narrow = finished(flatPicture(480, 200, white), style, {480, 480}, {});
    for (const int x : {0, 3, 6}) {
        const double covered = 0.5 * std::erfc((8 - (x + 0.5)) / 32 / std::numbers::sqrt2);
        const double down =
            std::erf(0.5 * 464 * 200 / 480 / 32 / std::numbers::sqrt2);  // in the middle of its height
        EXPECT_NEAR((235 - lumaAt(narrow, x, 240)) / 219.0, 0.5 * covered * down, 0.01) << x;
    }
}

TEST(FrameCompositor, theBorderRunsInsideTheVideosEdge) {
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

TEST(FrameCompositor, pillsAndCaptionStandWhereTheyBelong) {
    const Picture frame = flatPicture(1280, 720, white);
    FrameState pills;
    pills.keystrokes = {{"⇧⌘S", 1}, {"⎋", 1}};
    const Box alone = darkBox(content(frame, pills));
    // 0.05 * 720 = 36 pixels high, the lower edge 6 % of 720 above the frame's: from 640.8 to 676.8; centred.
    EXPECT_NEAR(alone.top, 641, 1);
    EXPECT_NEAR(alone.bottom, 677, 1);
    EXPECT_NEAR(alone.left + alone.right, 1280, 2);
    // Whatever a pill says, its ink is at half the height of capitals.
    const auto middleOfInk = [&](const char* text) {
        FrameState one;
        one.keystrokes = {{text, 1}};
        const Picture out = content(frame, one);
        return centroid(out, [&](int x, int y) {
            return std::abs(x - 640) < 10 && std::abs(y - 659) < 15 ? std::max(lumaAt(out, x, y) - 100, 0) : 0;
        });
    };
    for (const char* const symbol : {"⌃", "␣", "⌥", "⇧", "⎋"})
        EXPECT_NEAR(middleOfInk(symbol).y, middleOfInk("H").y, 1.5) << symbol;
    EXPECT_GT(middleOfInk("·ש").x, 641) << "from left to right";

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

TEST(FrameCompositor, longCaptionsWrapAtTwoThirds) {
    FrameState state;
    state.caption =
        "One two three four five six seven eight nine ten eleven twelve thirteen fourteen fifteen sixteen";
    const Picture frame = flatPicture(1280, 720, white);
    const Box wrapped = darkBox(content(frame, state));
    EXPECT_LE(wrapped.right - wrapped.left, 1280 * 0.66 + 2 * 0.9 * 24.48 + 2);
    EXPECT_GT(wrapped.bottom - wrapped.top, 24.48 * (2 * 1.21 + 1.1) - 3);
    EXPECT_LT(wrapped.right - wrapped.left, 1280 * 0.53);  // both lines of one length, not one word on the second
    state.captionStyle.backgroundColor = "#00000000";
    state.captionStyle.textColor = "#FFFFFF";
    EXPECT_EQ(darkBox(content(frame, state)).right, -1);  // white text without a plate on white
}

TEST(MissingGlyphs, nameTheirScriptAndWhatToInstall) {
    EXPECT_TRUE(scriptsWithoutFont("Text, naïve\n привет ⇧⌘␣ \u200D \xFF").empty());
    // No font has this character of private use.
    EXPECT_EQ(scriptsWithoutFont("a\U0010FFFDb\U0010FFFD"),
              std::vector<std::string>{"rare characters (install fonts-noto-extra)"});
}

TEST(FrameCompositor, theCameraIsHeldInsideTheFrameAndIgnoresTinyZooms) {
    const Picture frame = pictureFromImage(testing::scenery(640, 360));
    const auto shown = [&](CameraState camera) {
        FrameState state;
        state.camera = camera;
        return content(frame, state);
    };
    EXPECT_EQ(firstDifference(shown({{10, 10}, 1.001}), frame), "");
    EXPECT_NE(firstDifference(shown({{10, 10}, 1.01}), frame), "");
    EXPECT_EQ(firstDifference(shown({{0, 0}, 2}), shown({{160, 90}, 2})), "");
    EXPECT_EQ(firstDifference(shown({{9999, 9999}, 2}), shown({{480, 270}, 2})), "");
    EXPECT_NE(firstDifference(shown({{0, 0}, 2}), shown({{480, 270}, 2})), "");
}

// Any error in the order of camera and layout would move the waves too.
template <class Sample>
void expectPlacesKept() {
    const Picture frame = testing::wavePicture(960, 540);
    RenderStyle style;
    style.paddingPx = 33.3;
    for (const double zoom : {1.0, 1.37, 2.5}) {
        for (const Size canvas : {Size{960, 540}, Size{480, 480}, Size{1280, 720}}) {
            SCOPED_TRACE(zoom);
            FrameState state;
            state.camera = CameraState{{400, 250}, zoom};
            const double scale = std::min((canvas.width - 66.6) / 960, (canvas.height - 66.6) / 540);
            const double left = canvas.width / 2 - 480 * scale, top = canvas.height / 2 - 270 * scale;
            const double viewLeft = zoom > 1 ? std::max(400 - 480 / zoom, 0.0) : 0;
            const double viewTop = zoom > 1 ? std::max(250 - 270 / zoom, 0.0) : 0;
            const auto sourceOf = [&](Point at) -> std::optional<Point> {
                const double u = (at.x - left) / scale, v = (at.y - top) / scale;
                if (u < 8 || v < 8 || u > 952 || v > 532) return std::nullopt;
                return Point{u / zoom + viewLeft, v / zoom + viewTop};
            };
            // A tenth of a pixel's shift would add 0.13 to the rounding of two steps.
            EXPECT_LT(testing::worstWaveError<Sample>(finished<Sample>(frame, style, canvas, state), sourceOf),
                      1.3);
        }
    }
}

TEST(FrameCompositor, lumaAndChromaKeepTheirPlaces) {
    expectPlacesKept<std::uint8_t>();
    expectPlacesKept<std::uint16_t>();
}

// Bands show where neighbouring rows of one value follow one another; dither mixes the two values in between.
TEST(FrameCompositor, gradientsHaveNoBands) {
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
