#include "Recorder/Permissions.h"
#include "Recorder/ShareableContent.h"
#include "Tests/Recorder/ScriptedDesktop.h"

#include <gtest/gtest.h>

namespace lumenwhirl::test {
namespace {

const SystemDisplay plain{.id = 7, .name = "LEFT", .bounds = {0, 0, 1920, 1080}, .modeSize = Size{1920, 1080}};
const SystemDisplay dense{
    .id = 9, .name = "RIGHT", .bounds = {1920, 0, 1280, 720}, .modeSize = Size{2560, 1440}, .isPrimary = true};

SystemWindow windowAt(Rect frame) {
    return {.id = 42, .frame = frame, .applicationName = "Editor", .applicationID = "1234", .title = "Notes"};
}

TEST(ShareableContent, measuresWindowsByTheDisplayAtTheirCentre) {
    ScriptedScreen screen;
    screen.displayList = {plain, dense};
    screen.windowList = {
        windowAt({10, 20, 301, 201}),       // on the plain display: made even
        windowAt({2000, 100, 301, 201}),    // on the dense one
        windowAt({1800, 0, 300, 200}),      // across both: the centre decides
        windowAt({-9000, 0, 300.4, 200.5})  // on no display: counts as on the first
    };
    const auto windows = ShareableContent::windows(screen, std::nullopt);
    ASSERT_EQ(windows.size(), 4U);
    EXPECT_EQ(windows[0].displayInfo, (DisplayInfo{7, 300, 200, 301, 201, 1, 10, 20}));
    EXPECT_EQ(windows[1].displayInfo, (DisplayInfo{9, 602, 402, 301, 201, 2, 2000, 100}));
    EXPECT_EQ(windows[2].containingDisplayID, 9U);
    EXPECT_EQ(windows[3].displayInfo, (DisplayInfo{7, 300, 200, 300, 201, 1, -9000, 0}));
    EXPECT_EQ(windows[0].appName + "/" + windows[0].title, "Editor/Notes");

    screen.displayList.clear();
    EXPECT_EQ(ShareableContent::windows(screen, std::nullopt)[0].displayInfo.scaleFactor, 2);
}

TEST(ShareableContent, leavesOutSmallHiddenAndOwnWindows) {
    ScriptedScreen screen;
    screen.displayList = {plain};
    SystemWindow hidden = windowAt({0, 0, 400, 400}), unknown = windowAt({0, 0, 120, 120});
    hidden.isOnScreen = false;
    unknown.applicationID.clear();
    unknown.title.clear();
    screen.windowList = {hidden, windowAt({0, 0, 119, 400}), windowAt({0, 0, 400, 119.9}), unknown,
                         windowAt({0, 0, 400, 400})};
    EXPECT_EQ(ShareableContent::windows(screen, std::nullopt).size(), 2U);
    EXPECT_EQ(ShareableContent::windows(screen, "1234").size(), 1U);
    EXPECT_EQ(ShareableContent::windows(screen, std::nullopt, 1).size(), 4U);

    screen.displayList = {{.id = 1, .bounds = {0, 0, 9000, 9000}, .modeSize = Size{90, 90}}};  // a hundredth
    EXPECT_EQ(ShareableContent::windows(screen, std::nullopt).size(), 1U);  // 400 points are 4 pixels, 120 are 1
}

TEST(Permissions, tellARefusalFromAMissingServer) {
    ScriptedScreen screen;
    ScriptedAudioSystem audio;
    const auto statusOf = [&](Permission permission) { return Permissions::status(permission, &screen, audio); };
    EXPECT_EQ(statusOf(Permission::microphone), PermissionStatus::granted);
    screen.canListen = false;
    EXPECT_EQ(statusOf(Permission::inputMonitoring), PermissionStatus::denied);
    screen.isGone = true;
    EXPECT_EQ(statusOf(Permission::inputMonitoring), PermissionStatus::notDetermined);
}

}  // namespace
}  // namespace lumenwhirl::test
