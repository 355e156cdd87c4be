#include "Media/VideoReader.h"
#include "Tests/EndToEnd/Json.h"
#include "Tests/EndToEnd/Program.h"
#include "Tests/EndToEnd/TestFolder.h"

#include <gtest/gtest.h>

namespace lumenwhirl::test {
namespace {

const Program::Arguments smallDemo{"demo", ".", "--seconds", "1", "--size", "320x180", "--fps", "30"};

Outcome demo(const TestFolder& folder, const Program::Arguments& more) {
    Program::Arguments arguments = smallDemo;
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Program::run(arguments, {.folder = folder.path()});
}

TEST(DemoCommand, makesARecordingAndItsVideo) {
    const TestFolder folder;
    const Outcome outcome = demo(folder, {"--export", "demo.mp4"});
    ASSERT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, "Demo.lumenwhirl\n");
    EXPECT_EQ(outcome.errors, "");
    VideoReader video{folder / "demo.mp4"};
    int frames = 0;
    while (video.next()) ++frames;
    EXPECT_EQ(frames, 30);
    EXPECT_TRUE(video.info().hasAudio);
    const Outcome inspection = Program::run({"inspect", folder / "Demo.lumenwhirl", "--at", "0.5"});
    ASSERT_EQ(inspection.status, 0) << inspection.errors;
    EXPECT_EQ(Json(inspection.output).number("/video/fps"), 30);
}

TEST(DemoCommand, theSeedDecides) {
    const TestFolder first, second, other;
    ASSERT_EQ(demo(first, {"--seed", "5"}).status, 0);
    ASSERT_EQ(demo(second, {"--seed", "5"}).status, 0);
    ASSERT_EQ(demo(other, {"--seed", "6"}).status, 0);
    const auto events = [](const TestFolder& folder) {
        return contentsOf(folder / "Demo.lumenwhirl/events.json");
    };
    EXPECT_EQ(events(first), events(second));
    EXPECT_NE(events(first), events(other));
}

TEST(DemoCommand, failsBeforeTheWorkBegins) {
    const TestFolder folder;
    const auto before = folder.contents();
    for (const auto& [destination, problem] : std::vector<std::pair<std::string, std::string>>{
             {"demo.avi", "--export: demo.avi: the name must end in .mp4, .mov or .gif, which chooses the preset"},
             {"no/demo.mp4", "no/demo.mp4: the folder no does not exist"},
             {"Demo.lumenwhirl/../.mp4/", "--export: "}}) {
        const Outcome outcome = demo(folder, {"--export", destination});
        EXPECT_NE(outcome.status, 0);
        EXPECT_EQ(outcome.errors.find("lumenwhirl: " + problem), 0U) << outcome.errors;
        EXPECT_EQ(folder.contents(), before);
    }
    writeFile(folder / "file", "");
    const Outcome outcome = Program::run({"demo", folder / "file", "--seconds", "1", "--size", "320x180"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors.find("lumenwhirl: " + (folder / "file")), 0U) << outcome.errors;
}

}  // namespace
}  // namespace lumenwhirl::test
