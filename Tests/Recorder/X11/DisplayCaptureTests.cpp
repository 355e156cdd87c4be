#include "Recorder/Platform/HostClock.h"
#include "Tests/Recorder/X11/Capture.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace lumenwhirl::test {
namespace {

VirtualDisplay::Options small(std::vector<std::string> missing = {}, int depth = 24) {
    return {320, 240, depth, std::move(missing)};
}

struct SmallDesktop : Desktop {
    explicit SmallDesktop(const VirtualDisplay::Options& options = small()) : Desktop(options) {}
    [[nodiscard]] std::unique_ptr<CaptureStream> capture() const { return captureOf(system->displays().front()); }
};

class DisplayPicture : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(DisplayPicture, showsTheScreenWithoutTheCursor) {
    const SmallDesktop desktop(small(GetParam()));
    TestWindow window(desktop.client, {.x = 100, .y = 50, .width = 60, .height = 40, .color = red});
    Capture capture(desktop.capture());
    const Frame before = capture.waitForComplete("the window is seen", isAt(100, 50, red));
    ASSERT_TRUE(before.hasSize(320, 240));
    EXPECT_EQ(before.origin, Point());
    EXPECT_EQ(before.at(159, 89), red);
    EXPECT_NE(before.at(99, 50), red);
    EXPECT_NE(before.at(160, 89), red);

    desktop.client.movePointer(130, 70);
    window.paint(0, 0, 1, 1, green);
    const Frame after = capture.waitForComplete("a pixel changes", isAt(100, 50, green));
    for (int y = 51; y < 90; ++y)
        for (int x = 101; x < 160; ++x) ASSERT_EQ(after.at(x, y), red) << x << ", " << y;
}

// Without shared memory, pictures come through the connection.
INSTANTIATE_TEST_SUITE_P(Servers, DisplayPicture,
                         testing::Values(std::vector<std::string>{},
                                         std::vector<std::string>{"MIT-SHM", "MIT-SCREEN-SAVER", "RANDR"}));

TEST(DisplayCapture, listsMonitorsAndCapturesOnlyTheChosenOne) {
    const SmallDesktop desktop;
    desktop.client.setMonitor("LEFT", 0, 0, 200, 240, true);
    desktop.client.setMonitor("RIGHT", 200, 20, 200, 180, false);  // 80 of its pixels are beyond the screen
    desktop.client.setResources("Xft.antialias:\t1\nXft.dpi:\t192\n");
    const std::vector<SystemDisplay> displays = desktop.system->displays();
    ASSERT_EQ(displays.size(), 2u);
    EXPECT_EQ(displays[0].name, "LEFT");
    EXPECT_EQ(displays[0].bounds, (Rect{0, 0, 100, 120}));
    EXPECT_EQ(displays[0].modeSize, (Size{200, 240}));
    EXPECT_EQ(displays[1].name, "RIGHT");
    EXPECT_EQ(displays[1].bounds, (Rect{100, 10, 60, 90}));  // two pixels a point
    EXPECT_EQ(displays[1].modeSize, (Size{120, 180}));

    TestWindow window(desktop.client, {.x = 200, .y = 20, .width = 10, .height = 10, .color = red});
    Capture capture(desktop.captureOf(displays[1]));
    const Frame frame = capture.waitForComplete("the window is seen", isAt(0, 0, red));
    EXPECT_TRUE(frame.hasSize(120, 180));
    EXPECT_EQ(frame.origin, (Point{100, 10}));
    EXPECT_EQ(frame.at(9, 9), red);
    EXPECT_NE(frame.at(10, 10), red);
}

TEST(DisplayCapture, deliversFramesWhileThePictureOrTheUserMoves) {
    const SmallDesktop desktop;
    TestWindow window(desktop.client, {.x = 0, .y = 0, .width = 60, .height = 40, .color = red});
    Capture capture(desktop.capture());
    const std::vector<FrameStatus> thirtyIdle(30, FrameStatus::idle);
    // The start counts as input. After it, nothing moves until somebody does something.
    EXPECT_EQ(capture.nextStatuses(1).front(), FrameStatus::complete);
    const double idleAt = capture.waitForIdle().time;
    EXPECT_GE(idleAt - capture.times().front(), CaptureStream::inputGrace - 0.1);
    EXPECT_EQ(capture.nextStatuses(30), thirtyIdle);

    // A change gives one frame and nothing after it: nobody touched anything.
    window.fill(green);
    capture.waitForComplete("the colour changes", isAt(0, 0, green));
    capture.waitForIdle();
    EXPECT_EQ(capture.nextStatuses(30), thirtyIdle);

    const auto expectSameAfter = [&](const std::string& what, const std::function<void()>& act) {
        SCOPED_TRACE(what);
        act();
        const Frame frame = capture.waitForComplete(what, [](const Frame&) { return true; });
        EXPECT_EQ(frame.at(59, 39), green);
        EXPECT_GE(capture.waitForIdle().time - frame.time, CaptureStream::inputGrace - 0.1);
    };
    expectSameAfter("the pointer moves", [&] { desktop.client.movePointer(9, 9); });
    expectSameAfter("a key is pressed", [&] { desktop.client.type({38}); });

    const double stopTime = SystemClock().now();
    const Frame last = capture.stop();
    EXPECT_EQ(last.status, FrameStatus::complete);
    EXPECT_EQ(last.at(59, 39), green);
    EXPECT_GE(last.time, stopTime);
    const std::vector<double> times = capture.times();
    EXPECT_TRUE(std::ranges::is_sorted(times, std::less_equal<>())) << "a time came twice, or went back";
    EXPECT_LE(static_cast<double>(times.size()), (times.back() - times.front()) * 60 + 3);
}

TEST(DisplayCapture, endsWithAReasonWhenTheDisplayShrinks) {
    const SmallDesktop desktop;
    desktop.client.setMonitor("LEFT", 0, 0, 160, 240, true);
    desktop.client.setMonitor("RIGHT", 160, 0, 160, 240, false);
    const std::vector<SystemDisplay> displays = desktop.system->displays();
    ASSERT_EQ(displays.size(), 2u);
    Capture left(desktop.captureOf(displays[0])), right(desktop.captureOf(displays[1]));
    right.nextStatuses(1);
    desktop.client.setScreenSize(160, 240);
    EXPECT_EQ(right.waitForEnd(), "display RIGHT was unplugged or changed its size");
    const TestWindow window(desktop.client, {.x = 0, .y = 0, .color = red});
    EXPECT_TRUE(left.waitForComplete("the other one goes on", isAt(0, 0, red)).hasSize(160, 240));
    desktop.client.setScreenSize(160, 100);
    EXPECT_EQ(left.waitForEnd(), "display LEFT was unplugged or changed its size");
    EXPECT_EQ(failureOf(desktop.captureOf(displays[1])), PlatformError::Kind::notFound);
}

TEST(DisplayCapture, stopsWhileAnotherProgramGrabsTheServerAndAfterACrash) {
    SmallDesktop desktop;
    const TestWindow window(desktop.client, {.x = 0, .y = 0, .color = blue});
    Capture crashed(desktop.capture()), capture(desktop.capture());
    crashed.nextStatuses(1);
    capture.waitForComplete("the window is seen", isAt(0, 0, blue));
    xcb_grab_server(desktop.client.connection());
    desktop.client.finish();
    const double stopTime = SystemClock().now();
    const Frame last = capture.stop();
    EXPECT_EQ(last.status, FrameStatus::complete);
    EXPECT_GE(last.time, stopTime - 0.1);  // its last look may have begun before the call
    EXPECT_EQ(last.at(0, 0), blue);

    desktop.display.end();
    EXPECT_EQ(crashed.waitForEnd(), "the X server has ended the connection");
    for (int i = 0; i < 2; ++i) try {
            static_cast<void>(desktop.system->displays());
            FAIL() << "a server that is gone has displays";
        } catch (const PlatformError& error) {
            EXPECT_EQ(error.kind(), PlatformError::Kind::notReachable);
        }
    crashed.stop();
}

TEST(DisplayCapture, saysWhatAServerLacks) {
    const auto expectUnsupported = [](const SmallDesktop& desktop) {
        EXPECT_FALSE(desktop.system->canCaptureScreen());
        EXPECT_EQ(failureOf(desktop.capture()), PlatformError::Kind::unsupported);
    };
    expectUnsupported(SmallDesktop(small({"DAMAGE"})));
    expectUnsupported(SmallDesktop(small({}, 16)));
    expectUnsupported(SmallDesktop(small({}, 30)));
    const SmallDesktop wayland;
    EXPECT_TRUE(wayland.system->canCaptureScreen());
    EXPECT_TRUE(wayland.system->canListenToInput());
    wayland.client.setMonitor("XWAYLAND0", 0, 0, 320, 240, true);
    expectUnsupported(wayland);
}

TEST(ScreenSystem, saysWhyThereIsNoDisplay) {
    const auto problemOf = [](const std::string& name) -> std::string {
        try {
            static_cast<void>(connectToX11(name));
        } catch (const PlatformError& error) {
            EXPECT_EQ(error.kind(), PlatformError::Kind::notReachable);
            return error.what();
        }
        return "none";
    };
    EXPECT_EQ(problemOf(":60001").find("no X11 display: \":60001\" does not answer"), 0u);
    const char* const former = std::getenv("DISPLAY");
    const std::string display = former != nullptr ? former : "";
    unsetenv("DISPLAY");
    EXPECT_EQ(problemOf("").find("no X11 display: DISPLAY is not set"), 0u);
    if (former != nullptr) setenv("DISPLAY", display.c_str(), 1);
}

}  // namespace
}  // namespace lumenwhirl::test
