#include "Recorder/Backends/X11/X11ScreenSystem.h"
#include "Recorder/Platform/HostClock.h"
#include "Recorder/Platform/PlatformError.h"
#include "Tests/Recorder/X11/Capture.h"
#include "Tests/Recorder/X11/TestWindow.h"
#include "Tests/Recorder/X11/VirtualDisplay.h"

#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <cstdlib>

namespace lumenwhirl::test {
namespace {

constexpr std::uint32_t red = 0xe01020, green = 0x20c040, blue = 0x3050f0;

std::unique_ptr<CaptureStream> captureOf(ScreenSystem& system, const SystemDisplay& display) {
    return system.captureDisplay(display.id, infoOf(display));
}

/// A small desktop and its first display.
struct Desktop {
    explicit Desktop(std::vector<std::string> missing = {}, int depth = 24)
        : display({320, 240, depth, std::move(missing)}) {}
    VirtualDisplay display;
    TestClient client{display.name()};
    std::unique_ptr<ScreenSystem> system = connectToX11(display.name());
    [[nodiscard]] std::unique_ptr<CaptureStream> capture() const {
        return captureOf(*system, system->displays().front());
    }
};

class DisplayPicture : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(DisplayPicture, showsWhatIsOnTheScreenButNotTheCursor) {
    const Desktop desktop(GetParam());
    TestWindow window(desktop.client, {.x = 100, .y = 50, .width = 60, .height = 40, .color = red});
    Capture capture(desktop.capture());
    const auto isRed = [](const Picture& picture) { return picture.at(100, 50) == red; };
    const Picture before = capture.waitForComplete("the window is seen", isRed);
    ASSERT_TRUE(before.hasSize(320, 240));
    EXPECT_EQ(before.origin, Point());
    EXPECT_EQ(before.at(159, 89), red);
    EXPECT_NE(before.at(99, 50), red);
    EXPECT_NE(before.at(160, 89), red);

    desktop.client.movePointer(130, 70);
    window.paint(0, 0, 1, 1, green);
    const Picture after = capture.waitForComplete(
        "a pixel changes", [](const Picture& picture) { return picture.at(100, 50) == green; });
    for (int y = 51; y < 90; ++y)
        for (int x = 101; x < 160; ++x) ASSERT_EQ(after.at(x, y), red) << x << ", " << y;
}

// Without shared memory, pictures come through the connection.
INSTANTIATE_TEST_SUITE_P(Servers, DisplayPicture,
                         testing::Values(std::vector<std::string>{},
                                         std::vector<std::string>{"MIT-SHM", "MIT-SCREEN-SAVER", "RANDR"}));

TEST(DisplayCapture, listsMonitorsAndCapturesOnlyTheOneAskedFor) {
    const Desktop desktop;
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
    Capture capture(captureOf(*desktop.system, displays[1]));
    const Picture picture =
        capture.waitForComplete("the window is seen", [](const Picture& each) { return each.at(0, 0) == red; });
    EXPECT_TRUE(picture.hasSize(120, 180));
    EXPECT_EQ(picture.origin, (Point{100, 10}));
    EXPECT_EQ(picture.at(9, 9), red);
    EXPECT_NE(picture.at(10, 10), red);
}

TEST(DisplayCapture, deliversWhileThePictureOrTheUserMoves) {
    const Desktop desktop;
    TestWindow window(desktop.client, {.x = 0, .y = 0, .width = 60, .height = 40, .color = red});
    Capture capture(desktop.capture());
    const std::vector<FrameStatus> thirtyIdle(30, FrameStatus::idle);
    // The start counts as input. After it, nothing moves until somebody does something.
    EXPECT_EQ(capture.nextStatuses(1).front(), FrameStatus::complete);
    const double idleAt = capture.waitForIdle().time;
    EXPECT_GE(idleAt - capture.times().front(), CaptureStream::inputGrace - 0.1);
    EXPECT_EQ(capture.nextStatuses(30), thirtyIdle);

    // A change makes one frame, and nothing after it: nobody touched anything.
    window.fill(green);
    capture.waitForComplete("the colour changes",
                            [](const Picture& picture) { return picture.at(0, 0) == green; });
    capture.waitForIdle();
    EXPECT_EQ(capture.nextStatuses(30), thirtyIdle);

    const auto showsTheSameAfter = [&](const std::string& what, const std::function<void()>& act) {
        SCOPED_TRACE(what);
        act();
        const Picture picture = capture.waitForComplete(what, [](const Picture&) { return true; });
        EXPECT_EQ(picture.at(59, 39), green);
        EXPECT_GE(capture.waitForIdle().time - picture.time, CaptureStream::inputGrace - 0.1);
    };
    showsTheSameAfter("the pointer moves", [&] { desktop.client.movePointer(9, 9); });
    showsTheSameAfter("a key is pressed", [&] {
        desktop.client.setKey(38, true);
        desktop.client.setKey(38, false);
    });

    const double stopTime = SystemClock().now();
    const Picture last = capture.stop();
    EXPECT_EQ(last.status, FrameStatus::complete);
    EXPECT_EQ(last.at(59, 39), green);
    EXPECT_GE(last.time, stopTime);
    const std::vector<double> times = capture.times();
    EXPECT_TRUE(std::is_sorted(times.begin(), times.end(), std::less_equal<>()))
        << "a time came twice, or earlier";
    EXPECT_LE(static_cast<double>(times.size()), (times.back() - times.front()) * 60 + 3);
}

TEST(DisplayCapture, endsWithAReasonWhenTheDisplayShrinks) {
    const Desktop desktop;
    desktop.client.setMonitor("LEFT", 0, 0, 160, 240, true);
    desktop.client.setMonitor("RIGHT", 160, 0, 160, 240, false);
    const std::vector<SystemDisplay> displays = desktop.system->displays();
    ASSERT_EQ(displays.size(), 2u);
    Capture left(captureOf(*desktop.system, displays[0])), right(captureOf(*desktop.system, displays[1]));
    right.nextStatuses(1);
    desktop.client.setScreenSize(160, 240);
    EXPECT_EQ(right.waitForEnd(), "display RIGHT was unplugged or changed its size");
    const TestWindow window(desktop.client, {.x = 0, .y = 0, .color = red});
    const auto isRed = [](const Picture& picture) { return picture.at(0, 0) == red; };
    EXPECT_TRUE(left.waitForComplete("the other one goes on", isRed).hasSize(160, 240));
    desktop.client.setScreenSize(160, 100);
    EXPECT_EQ(left.waitForEnd(), "display LEFT was unplugged or changed its size");
    EXPECT_THROW(Capture(captureOf(*desktop.system, displays[1])), PlatformError);
}

TEST(DisplayCapture, outlivesItsServer) {
    Desktop desktop;
    Capture capture(desktop.capture());
    capture.nextStatuses(1);
    desktop.display.end();
    EXPECT_EQ(capture.waitForEnd(), "the X server has ended the connection");
    for (int i = 0; i < 2; ++i) try {
            static_cast<void>(desktop.system->displays());
            FAIL() << "a server that is gone has displays";
        } catch (const PlatformError& error) {
            EXPECT_EQ(error.kind(), PlatformError::Kind::notReachable);
        }
    capture.stop();
}

TEST(DisplayCapture, stopsWhileAnotherProgramHoldsTheServer) {
    const Desktop desktop;
    const TestWindow window(desktop.client, {.x = 0, .y = 0, .color = blue});
    Capture capture(desktop.capture());
    capture.waitForComplete("the window is seen", [](const Picture& picture) { return picture.at(0, 0) == blue; });
    xcb_grab_server(desktop.client.connection());
    desktop.client.finish();
    const double stopTime = SystemClock().now();
    const Picture last = capture.stop();
    EXPECT_EQ(last.status, FrameStatus::complete);
    EXPECT_GE(last.time, stopTime - 0.1);  // its last look may have begun before the call
    EXPECT_EQ(last.at(0, 0), blue);
}

TEST(DisplayCapture, saysWhatAServerLacks) {
    const auto expectUnsupported = [](const Desktop& desktop) {
        EXPECT_FALSE(desktop.system->canCaptureScreen());
        try {
            const Capture capture(desktop.capture());
            ADD_FAILURE() << "it started";
        } catch (const PlatformError& error) {
            EXPECT_EQ(error.kind(), PlatformError::Kind::unsupported) << error.what();
        }
    };
    expectUnsupported(Desktop({"DAMAGE"}));
    expectUnsupported(Desktop({}, 16));
    expectUnsupported(Desktop({}, 30));
    const Desktop wayland;
    wayland.client.setMonitor("XWAYLAND0", 0, 0, 320, 240, true);
    expectUnsupported(wayland);
    EXPECT_TRUE(Desktop().system->canCaptureScreen());
    EXPECT_TRUE(Desktop().system->canListenToInput());
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
