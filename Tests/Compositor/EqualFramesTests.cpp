#include "Tests/Compositor/Composing.h"
#include "Tests/Pixels/TestPictures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <deque>
#include <random>

namespace lumenwhirl {
namespace {

using testing::finished;
using testing::firstDifference;
using testing::Implementation;
using testing::sizeOf;

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

TEST(EqualFrames, neitherTheImplementationNorThreadsChangeFrames) {
    std::mt19937 random(3);
    for (int round = 0; round < 25; ++round) {
        SCOPED_TRACE(round);
        const auto side = [&](int most) { return 2 * (8 + static_cast<int>(random() % 1000) % (most / 2)); };
        const Picture frame = testing::noisePicture(side(500), side(400), static_cast<unsigned>(random()));
        const Size canvas{static_cast<double>(side(500)), static_cast<double>(side(400))};
        const RenderStyle style = randomStyle(random);
        const FrameState state = randomState(random, sizeOf(frame));
        const auto compare = [&]<class Sample>(Sample) {
            const auto how = Implementation::planarReference;
            const Picture expected = finished<Sample>(frame, style, canvas, state, 1, how);
            for (const int threads : {1, 3})
                ASSERT_EQ(
                    firstDifference<Sample>(finished<Sample>(frame, style, canvas, state, threads), expected), "");
        };
        compare(std::uint8_t{});
        compare(std::uint16_t{});
    }
}

// Frames of 10 bits and 4:2:2 show the same as those of 8 bits and 4:2:0, in finer steps and with chroma on every
// row.
TEST(EqualFrames, deepFramesShowTheSame) {
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
void expectChangesDrawn(unsigned seed, int threads) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const Size canvas{420, 320}, content{320, 200};
    RenderStyle style = randomStyle(random);
    const auto compositor = FrameCompositor::make(PictureFormat<Sample>::pixelFormat, threads);
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
        const auto change = random() % 8;  // from 5 on it stays
        if (change == 0) state = other;
        if (change == 1) state.camera = other.camera;
        if (change == 2) state.cursor = other.cursor;
        if (change == 3) state.caption = other.caption;
        if (change == 4) state.keystrokes = other.keystrokes;
        if (random() % 15 == 0) {
            style = randomStyle(random);
            compositor->prepare(style, canvas, content);
        }
        const Picture made = compositor->compose(source, state);
        ASSERT_EQ(firstDifference<Sample>(made, finished<Sample>(source, style, canvas, state)), "");
        held.push_back(made);
        while (held.size() > random() % 5)
            held.erase(held.begin() + static_cast<std::ptrdiff_t>(random() % held.size()));
    }
}

TEST(EqualFrames, changesAloneMakeTheSameFrames) {
    for (unsigned seed = 0; seed < 6; ++seed) {
        expectChangesDrawn<std::uint8_t>(seed, seed % 2 == 0 ? 1 : 3);
        expectChangesDrawn<std::uint16_t>(seed, 1);
    }
}

TEST(EqualFrames, whatShowsTheSameIsTheSameFrame) {
    const Picture frame = testing::noisePicture(64, 64, 1);
    const auto compositor = FrameCompositor::make(PixelFormat::yuv420p8);
    FrameState state;
    state.cursor = {{10, 10}, 1, {}};
    const Picture first = compositor->compose(frame, state);
    EXPECT_TRUE(compositor->compose(frame, state).isSame(first));
    state.cursor.position.y = 11;
    EXPECT_FALSE(compositor->compose(frame, state).isSame(first));
}

}  // namespace
}  // namespace lumenwhirl
