#include "Tests/Recorder/X11/Capture.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace lumenwhirl::test {
namespace {

using Titles = std::vector<std::string>;

Titles titlesOf(const std::vector<SystemWindow>& windows) {
    Titles titles;
    for (const SystemWindow& window : windows) titles.push_back(window.title);
    return titles;
}

struct WindowList : testing::Test, Desktop {
    WindowList() : Desktop({640, 480}) {}
};

TEST_F(WindowList, isThatOfTheWindowManagerFromTheLowestUp) {
    display.startWindowManager();
    client.setResources("Xft.dpi: 120\n");
    TestWindow first(client, {.width = 150, .height = 90, .title = "Größe – 大きさ", .application = "Editor"});
    const TestWindow second(client, {.title = "", .application = "Old"});
    client.setText(second.id(), "WM_NAME", "STRING", "Caf\xe9");  // Latin-1
    const TestWindow popUp(client, {.title = "Menu", .isLeftAlone = true});
    const TestWindow panel(client, {.title = "Panel"});
    client.setNumbers(panel.id(), "_NET_WM_WINDOW_TYPE", "ATOM", {client.atom("_NET_WM_WINDOW_TYPE_DOCK")});

    // The manager updates its list in its own time.
    client.waitUntil("all are listed", [&] {
        return titlesOf(system->windows()) == Titles{"Größe – 大きさ", "Café"};
    });
    std::vector<SystemWindow> windows = system->windows();
    EXPECT_EQ(windows[0].id, first.id());
    EXPECT_EQ(windows[0].applicationName, "Editor");
    EXPECT_EQ(windows[0].applicationID, std::to_string(getpid()));
    EXPECT_TRUE(windows[0].isOnScreen);
    EXPECT_EQ(windows[0].frame.width, 120);  // 150 pixels, 1.25 a point
    EXPECT_EQ(windows[0].frame.height, 72);
    EXPECT_GT(windows[0].frame.y, 80);  // its content, below its title bar

    first.raise();
    client.waitUntil("it is on top", [&] {
        return titlesOf(system->windows()) == Titles{"Café", "Größe – 大きさ"};
    });
    first.minimise();
    client.waitUntil("it is off the screen", [&] {
        for (const SystemWindow& window : system->windows())
            if (window.id == first.id()) return !window.isOnScreen;
        return false;
    });
}

TEST_F(WindowList, isFoundWithoutAWindowManager) {
    EXPECT_TRUE(system->windows().empty());
    // The frames of old window managers have no class and bypass the window manager.
    const TestWindow frame(client, {.x = 100, .y = 60, .title = "Frame", .isLeftAlone = true});
    client.setText(frame.id(), "WM_CLASS", "STRING", "");
    const TestWindow framed(
        client, {.x = 3, .y = 20, .width = 200, .height = 100, .title = "Framed", .parent = frame.id()});
    const TestWindow inner(client, {.title = "Part of the framed", .parent = framed.id()});
    // Control characters, a surrogate, a stray byte and half a character, as web pages may put into titles.
    const TestWindow plain(
        client,
        {.x = -10, .y = 5, .width = 50, .height = 40, .title = "Pl\x1b[1m\na\xc2\x9b\xed\xa0\x80\xffin\xe2\x82"});
    const TestWindow popUp(client, {.title = "Menu", .isLeftAlone = true});
    TestWindow hidden(client, {.title = "Hidden"});
    hidden.hide();
    const std::vector<SystemWindow> windows = system->windows();
    ASSERT_EQ(titlesOf(windows), (Titles{"Framed", "Pl [1m a \ufffd\ufffd\ufffd\ufffdin\ufffd\ufffd"}));
    EXPECT_EQ(windows[0].frame, (Rect{103, 80, 200, 100}));
    EXPECT_EQ(windows[1].frame, (Rect{-10, 5, 50, 40}));
    EXPECT_EQ(windows[1].applicationName, "TestApplication");
}

TEST_F(WindowList, toleratesWindowsThatVanishMeanwhile) {
    display.startWindowManager();
    for (int i = 0; i < 40; ++i) {
        const TestWindow window(client, {.title = "Short-lived"});
        for (const SystemWindow& each : system->windows()) EXPECT_EQ(each.title, "Short-lived");
    }
    client.waitUntil("all are gone", [&] { return system->windows().empty(); });
}

}  // namespace
}  // namespace lumenwhirl::test
