#include "Tests/EndToEnd/TestFolder.h"

#include <gtest/gtest.h>

namespace lumenwhirl::test {
namespace {

Json inspect(const LumenwhirlPackage& package, Program::Arguments options = {}) {
    options.insert(options.begin(), {"inspect", package.url().string()});
    const Outcome outcome = Program::run(options);
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.errors, "");
    return Json(outcome.output);
}

/// A package of documents whose project was changed by `edit(project)`.
template <class Edit>
LumenwhirlPackage edited(const TestFolder& folder, Edit edit) {
    LumenwhirlPackage package = folder.makeDocuments();
    ProjectSettings project = package.readProject();
    edit(project);
    package.writeProject(project);
    return package;
}

TEST(Inspect, reportsTheVideo) {
    const TestFolder folder;
    const Json json = inspect(folder.makeRecording());
    EXPECT_EQ(json.number("/video/width"), 320);
    EXPECT_EQ(json.number("/video/height"), 180);
    EXPECT_EQ(json.number("/video/fps"), 30);
    EXPECT_NEAR(json.number("/video/duration"), 1, 0.1);  // audio is coded in blocks of 21 ms and may end later
}

TEST(Inspect, takesAPackageWithoutVideoForItsDisplayAt60) {
    const TestFolder folder;
    const Json json = inspect(folder.makeDocuments());
    EXPECT_EQ(json.json("/video"), R"({"width":1920,"height":1080,"fps":60,"duration":10})");
    EXPECT_EQ(json.json("/canvas"), R"({"width":1920,"height":1080})");
    EXPECT_EQ(json.json("/timeline"),
              R"({"outputDuration":10,"sourceDuration":10,"isIdentity":true,)"
              R"("segments":[{"outStart":0,"outEnd":10,"srcStart":0,"srcEnd":10,"rate":1}]})");
    EXPECT_EQ(json.json("/autoSegments"), "[]");
    EXPECT_EQ(json.json("/states"), "[]");
    EXPECT_EQ(json.json("/renderStyle/border"), "null");
}

TEST(Inspect, timesAreOfTheOutputUnlessOfTheSource) {
    const TestFolder folder;
    const LumenwhirlPackage package = edited(folder, [](ProjectSettings& project) {
        project.timeline.trimStart = 1;
        project.timeline.trimEnd = 9;
        project.timeline.cuts = {{2, 4}};
        project.timeline.speedRanges = {{6, 8, 2}};
    });
    // Kept are 1-2, 4-6, 6-8 at double speed and 8-9: 1 + 2 + 1 + 1 s.
    const Json output = inspect(package, {"--at", "3.5", "--at", "0"});
    EXPECT_EQ(output.number("/timeline/outputDuration"), 5);
    EXPECT_FALSE(output.truth("/timeline/isIdentity"));
    EXPECT_EQ(output.json("/timeline/segments/2"),
              R"({"outStart":3,"outEnd":4,"srcStart":6,"srcEnd":8,"rate":2})");
    EXPECT_EQ(output.number("/states/0/sourceTime"), 7);  // half a second at double speed after 6
    EXPECT_EQ(output.number("/states/0/rate"), 2);
    EXPECT_EQ(output.number("/states/1/sourceTime"), 1);
    EXPECT_EQ(output.json("/states/1/skipTarget"), "null");
    const Json source = inspect(package, {"--source", "--at", "3"});
    EXPECT_EQ(source.number("/states/0/sourceTime"), 3);
    EXPECT_EQ(source.number("/states/0/outputTime"), 5);  // what was cut away maps to the end
    EXPECT_EQ(source.number("/states/0/skipTarget"), 4);
}

TEST(Inspect, theRenderStyleIsResolvedForTheCanvas) {
    const TestFolder folder;
    const auto backgroundOf = [&](const Background& background) {
        return inspect(edited(folder, [&](ProjectSettings& project) { project.style.background = background; }))
            .json("/renderStyle/background");
    };
    EXPECT_EQ(backgroundOf({"solid", {}, "#336699", {}}), R"({"type":"solid","color":[0.2,0.4,0.6,1]})");
    writeFile(folder / "picture.ppm", "P6 3 2 255 " + std::string(3 * 2 * 3, 'x'));
    // By its whole path, or counted from the package wherever the program runs.
    for (const std::string& path : {folder / "picture.ppm", std::string("../picture.ppm")})
        EXPECT_EQ(backgroundOf({"image", {}, {}, path}), R"({"type":"image","width":3,"height":2})");

    const Json portrait = inspect(edited(folder, [](ProjectSettings& project) {
        project.style.aspect = "9:16";
        project.style.padding = 54;
        project.style.shadow = "medium";
        project.style.border = "#FFFFFF33";
        project.style.background = {"gradient", "graphite", {}, {}};
    }));
    EXPECT_EQ(portrait.json("/canvas"), R"({"width":1080,"height":1920})");
    const std::string style = portrait.json("/renderStyle");
    EXPECT_TRUE(style.starts_with(
        R"({"paddingPx":54,"cornerRadiusPx":16,"background":{"type":"gradient","top":[0.13725490196078433,)"))
        << style;  // the gradient begins at 0x23 / 255
    EXPECT_TRUE(style.ends_with(R"("shadow":{"opacity":0.42,"radius":67.2,"yOffset":38.4},)"
                                R"("border":{"widthPx":1.6875,"color":[1,1,1,0.2]}})"))
        << style;
}

TEST(Inspect, statesIncludeWhatTheProjectDoesNotDraw) {
    const TestFolder folder;
    const LumenwhirlPackage package = edited(folder, [](ProjectSettings& project) {
        project.cursor.clickRipples = false;
        project.captions = CaptionSettings{.enabled = false, .cues = {{1, 3, "Hello"}}, .style = {}};
    });
    EventLog events = package.readEvents();
    events.clicks = {{2, 400, 300, MouseButton::left, ClickPhase::down},
                     {2.1, 400, 300, MouseButton::left, ClickPhase::up}};
    events.keys = {{2, 1, "s", {"cmd"}, false}};
    package.writeEvents(events);
    const Json json = inspect(package, {"--at", "2.3", "--at", "9"});
    // A ripple lives 0.6 s; at 2.3 s half of that is over.
    EXPECT_EQ(json.count("/states/0/cursor/ripples"), 1U);
    EXPECT_NEAR(json.number("/states/0/cursor/ripples/0/progress"), 0.5, 1e-9);
    EXPECT_EQ(json.text("/states/0/pills/0/text"), "⌘S");
    EXPECT_EQ(json.text("/states/0/caption"), "Hello");
    EXPECT_EQ(json.json("/states/1/caption"), "null");
    EXPECT_EQ(json.count("/states/1/pills"), 0U);
}

TEST(Inspect, generatedZoomsAreListedButOnlyUsedIfTheProjectHasNone) {
    const TestFolder folder;
    const LumenwhirlPackage package = folder.makeDocuments();
    EventLog events = package.readEvents();
    events.clicks = {{3, 400, 300, MouseButton::left, ClickPhase::down}};
    package.writeEvents(events);
    const Json generated = inspect(package, {"--at", "3"});
    ASSERT_EQ(generated.count("/autoSegments"), 1U);
    EXPECT_EQ(generated.text("/autoSegments/0/id"), "auto-0");
    EXPECT_EQ(generated.number("/states/0/camera/scale"), 1.75);

    ProjectSettings project = package.readProject();
    project.zoom.automatic = false;
    project.zoom.segments = {{"mine", 1, 5, 3, true}};
    package.writeProject(project);
    const Json own = inspect(package, {"--at", "3"});
    EXPECT_EQ(own.count("/autoSegments"), 1U);
    EXPECT_EQ(own.number("/states/0/camera/scale"), 3);
}

}  // namespace
}  // namespace lumenwhirl::test
