#include "Tests/Recorder/X11/Capture.h"

#include <gtest/gtest.h>

#include <future>

namespace lumenwhirl::test {
namespace {

struct WindowCapture : testing::Test, Desktop {
    WindowCapture() : Desktop({640, 480}) {}
};

TEST_F(WindowCapture, showsAWindowThatIsCoveredAndHalfOffTheScreen) {
    TestWindow window(client, {.x = 600, .y = 440, .width = 91, .height = 73, .color = red});
    const TestWindow cover(client, {.x = 590, .y = 430, .width = 50, .height = 50, .color = blue});
    Capture capture(captureOf(window));
    const Frame frame = capture.waitForComplete("its colour is seen", isAll(red));
    EXPECT_TRUE(frame.hasSize(91, 73));
    EXPECT_EQ(frame.origin, (Point{600, 440}));
    window.paint(90, 72, 1, 1, green);
    const Frame painted = capture.waitForComplete("a pixel beyond the screen changes", isAt(90, 72, green));
    EXPECT_EQ(painted.at(0, 0), red);
    EXPECT_EQ(painted.at(89, 72), red);
}

TEST_F(WindowCapture, beginsWithWhatItsProgramPaintsWhereItWasCovered) {
    TestWindow window(client, {.x = 100, .y = 60, .width = 90, .height = 70, .color = red});
    const TestWindow cover(client, {.x = 0, .y = 0, .width = 640, .height = 480, .color = blue});
    const auto stream = captureOf(window);
    std::promise<void> looked;
    std::promise<std::uint32_t> first;
    stream->start(
        [&, count = 0, isFirst = true](const CapturedFrame& frame) mutable {
            const std::uint8_t* const pixel = frame.pixels;
            if (frame.status == FrameStatus::complete && std::exchange(isFirst, false))
                first.set_value(static_cast<std::uint32_t>(pixel[2] << 16 | pixel[1] << 8 | pixel[0]));
            if (++count == 1) looked.set_value();
        },
        [](const std::string&) {});
    looked.get_future().wait();
    window.paint(0, 0, 90, 70, green);  // as programs do when they are asked to
    EXPECT_EQ(first.get_future().get(), green);
    stream->stop();
}

struct ManagedWindowCapture : WindowCapture, testing::WithParamInterface<bool> {};

TEST_P(ManagedWindowCapture, followsAWindowThatIsMovedResizedHiddenAndClosed) {
    if (GetParam()) display.startWindowManager();
    TestWindow window(client, {.x = 100, .y = 60, .width = 90, .height = 70, .color = red});
    Capture capture(captureOf(window));
    EXPECT_TRUE(capture.waitForComplete("its colour is seen", isAll(red)).hasSize(90, 70));

    const Rect former = frameOf(window);
    window.move(200, 130);
    // The window manager has a frame around it, and moves it in its own time.
    capture.waitFor("it is elsewhere", [&](const Frame& frame) {
        const Rect listed = frameOf(window);
        return listed.x >= former.x + 80 && frame.origin == Point{listed.x, listed.y};
    });

    window.resize(151, 83);
    window.fill(green);
    EXPECT_TRUE(capture.waitForComplete("it is larger", isAll(green)).hasSize(151, 83));
    window.resize(40, 30);
    EXPECT_TRUE(capture.waitForComplete("it is smaller", [](const Frame& frame) { return frame.hasSize(40, 30); })
                    .isAll(green));

    if (GetParam())
        window.minimise();
    else
        window.hide();
    client.movePointer(5, 5);  // so that the last picture is delivered again
    EXPECT_TRUE(capture.waitForComplete("it is hidden", [](const Frame&) { return true; }).isAll(green));
    window.fill(blue);
    window.show();
    EXPECT_TRUE(capture.waitForComplete("it is back", isAll(blue)).hasSize(40, 30));

    window.close();
    EXPECT_EQ(capture.waitForEnd(), "the window was closed");
    EXPECT_EQ(failureOf(captureOf(window)), PlatformError::Kind::notFound);
}

INSTANTIATE_TEST_SUITE_P(WindowManagers, ManagedWindowCapture, testing::Bool());

TEST_F(WindowCapture, followsAWindowInsideAHiddenOne) {
    TestWindow frame(client, {.x = 100, .y = 60, .width = 200, .height = 150, .color = blue});
    TestWindow window(client, {.x = 10, .y = 20, .width = 90, .height = 70, .color = red, .parent = frame.id()});
    Capture capture(captureOf(window, 2));
    EXPECT_EQ(capture.waitForComplete("its colour is seen", isAll(red)).origin, (Point{55, 40}));
    frame.hide();
    window.fill(green);  // is not seen: a hidden window has no picture
    frame.show();
    EXPECT_TRUE(capture.waitForComplete("it is back", isAll(green)).hasSize(90, 70));
    frame.move(140, 60);
    capture.waitFor("the frame has moved", [](const Frame& each) { return each.origin == Point{75, 40}; });
}

TEST_F(WindowCapture, leavesOutBordersAndShadows) {
    const TestWindow bordered(
        client, {.x = 50, .y = 40, .width = 61, .height = 31, .color = red, .hasAlpha = true, .borderWidth = 7});
    Capture first(captureOf(bordered));
    const Frame frame = first.waitForComplete("its colour is seen", isAll(red));
    EXPECT_TRUE(frame.hasSize(61, 31));
    EXPECT_EQ(frame.origin, (Point{57, 47}));

    // Programs that draw their own frame leave a margin around it for its shadow, and none once it is maximised.
    TestWindow shadowed(client, {.x = 200, .y = 100, .width = 100, .height = 80, .color = blue});
    shadowed.paint(10, 30, 70, 10, green);
    client.setNumbers(shadowed.id(), "_GTK_FRAME_EXTENTS", "CARDINAL", {10, 20, 30, 40});
    EXPECT_EQ(frameOf(shadowed), (Rect{210, 130, 70, 10}));
    Capture second(captureOf(shadowed));
    const Frame content = second.waitForComplete("its content is seen", isAll(green));
    EXPECT_TRUE(content.hasSize(70, 10));
    EXPECT_EQ(content.origin, (Point{210, 130}));
    client.setNumbers(shadowed.id(), "_GTK_FRAME_EXTENTS", "CARDINAL", {0, 0, 0, 0});
    second.waitForComplete("the margin is gone", [](const Frame& each) { return each.hasSize(100, 80); });
}

TEST_F(WindowCapture, isBlankUntilTheWindowIsShown) {
    TestWindow window(client, {.width = 90, .height = 70, .color = red});
    window.hide();
    Capture capture(captureOf(window));
    EXPECT_EQ(capture.nextStatuses(3), std::vector<FrameStatus>(3, FrameStatus::blank));
    window.show();
    capture.waitForComplete("its colour is seen", isAll(red));
}

}  // namespace
}  // namespace lumenwhirl::test
