#include "Recorder/Platform/HostClock.h"
#include "Tests/Recorder/X11/Capture.h"

#include <gtest/gtest.h>

#include <future>

namespace lumenwhirl::test {
namespace {

struct SmallDesktop : Desktop {
    explicit SmallDesktop(std::vector<std::string> missing = {}, int depth = 24)
        : Desktop({320, 240, depth, std::move(missing)}) {}
    [[nodiscard]] std::unique_ptr<CaptureStream> capture() const { return captureOf(system->displays().front()); }
};

TEST(DisplayCapture, showsTheScreenWithoutTheCursorAlsoWithoutSharedMemory) {
    const SmallDesktop desktop({"MIT-SHM", "MIT-SCREEN-SAVER", "RANDR"});  // pictures come through the connection
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

TEST(DisplayCapture, countsThePicturesThatASlowRecorderMisses) {
    const SmallDesktop desktop;
    const auto stream = desktop.capture();
    std::promise<int> missed;
    stream->start(
        [&, frames = 0](const CapturedFrame& frame) mutable {
            if (frames == 0) SystemClock().sleep(0.1, {});
            if (frames++ == 1) missed.set_value(frame.missed);
        },
        [](const std::string&) {});
    EXPECT_GE(missed.get_future().get(), 5);
    stream->stop();
}

TEST(DisplayCapture, endsWithAReasonWhenTheDisplayShrinks) {
    const SmallDesktop desktop;
    desktop.client.setMonitor("LEFT", 0, 0, 160, 240, true);
    desktop.client.setMonitor("RIGHT", 160, 0, 240, 240, false);
    const std::vector<SystemDisplay> displays = desktop.system->displays();
    ASSERT_EQ(displays.size(), 2u);
    EXPECT_EQ(displays[1].modeSize, (Size{160, 240}));  // 80 of its columns are beyond the screen
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
    for (int i = 0; i < 2; ++i) EXPECT_THROW(static_cast<void>(desktop.system->displays()), PlatformError);
    crashed.stop();
}

TEST(DisplayCapture, saysWhatAServerLacks) {
    const auto expectUnsupported = [](const SmallDesktop& desktop) {
        EXPECT_FALSE(desktop.system->canCaptureScreen());
        EXPECT_EQ(failureOf(desktop.capture()), PlatformError::Kind::unsupported);
    };
    expectUnsupported(SmallDesktop({"DAMAGE"}));
    expectUnsupported(SmallDesktop({}, 16));
    expectUnsupported(SmallDesktop({}, 30));
    const SmallDesktop wayland;
    EXPECT_TRUE(wayland.system->canCaptureScreen());
    EXPECT_TRUE(wayland.system->canListenToInput());
    wayland.client.setMonitor("XWAYLAND0", 0, 0, 320, 240, true);
    expectUnsupported(wayland);
}

}  // namespace
}  // namespace lumenwhirl::test
