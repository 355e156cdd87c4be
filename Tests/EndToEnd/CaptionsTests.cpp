#include "Tests/EndToEnd/Program.h"
#include "Tests/EndToEnd/TestFolder.h"

#include <gtest/gtest.h>

namespace lumenwhirl::test {
namespace {

TEST(CaptionsCommand, importReplacesTheCuesAndNothingElse) {
    const TestFolder folder;
    const LumenwhirlPackage package = folder.makeDocuments();
    ProjectSettings project = package.readProject();
    project.captions =
        CaptionSettings{.enabled = false, .cues = {{0, 1, "old"}}, .style = {.font = "serif", .size = 2}};
    project.timeline.cuts = {{1, 2}};
    package.writeProject(project);
    writeFile(folder / "talk.srt", "1\n00:00:01,000 --> 00:00:02,500\nHello\n");
    const Outcome outcome = Program::run({"captions", package.url().string(), "--import", folder / "talk.srt"});
    ASSERT_EQ(outcome.status, 0) << outcome.errors;
    project.captions->enabled = true;
    project.captions->cues = {{1, 2.5, "Hello"}};
    EXPECT_EQ(package.readProject(), project);
}

TEST(CaptionsCommand, importsEveryFormatAndExportsIt) {
    const TestFolder folder;
    const LumenwhirlPackage package = folder.makeDocuments();
    writeFile(folder / "words.json",
              R"([{"text":"Hello","start":1,"end":1.5},{"text":"world","start":1.6,"end":2}])");
    ASSERT_EQ(Program::run({"captions", package.url().string(), "--import", folder / "words.json", "--export",
                            folder / "talk.vtt"})
                  .status,
              0);
    EXPECT_EQ(contentsOf(folder / "talk.vtt"), "WEBVTT\n\n00:00:01.000 --> 00:00:02.000\nHello world\n");
    ASSERT_EQ(Program::run({"captions", package.url().string(), "--import", folder / "talk.vtt", "--export",
                            folder / "talk.SRT"})
                  .status,
              0);
    EXPECT_EQ(contentsOf(folder / "talk.SRT"), "1\n00:00:01,000 --> 00:00:02,000\nHello world\n");
    ASSERT_EQ(Program::run({"captions", package.url().string(), "--clear"}).status, 0);
    EXPECT_TRUE(package.readProject().captions->cues.empty());
    EXPECT_TRUE(package.readProject().captions->enabled);
}

TEST(CaptionsCommand, aFaultChangesNothingAndNamesTheFileAndLine) {
    const TestFolder folder;
    const LumenwhirlPackage package = folder.makeDocuments();
    writeFile(folder / "bad.srt", "1\n00:00:01,000 --> 00:00:02,500\nHello\n\n2\nlater\n");
    writeFile(folder / "bad.json", R"([{"text":"Hello","start":"one"}])");
    writeFile(folder / "empty.srt", "\n");
    writeFile(folder / "captions.txt", "");
    const std::vector<std::pair<Program::Arguments, std::string>> faults{
        {{"--import", folder / "bad.srt"}, folder / "bad.srt: line 5: "},
        {{"--import", folder / "bad.json"}, folder / "bad.json: [0].start: "},
        {{"--import", folder / "empty.srt"}, folder / "empty.srt: contains no captions"},
        {{"--import", folder / "captions.txt"}, folder / "captions.txt: the name must end in "},
        {{"--import", folder / "missing.srt"}, folder / "missing.srt: cannot be opened: "},
        {{"--import", folder.path().string()}, folder.path().string() + ": "},
        {{"--import", "/dev/zero.srt"}, "/dev/zero.srt: "},
        {{"--export", folder / "no/talk.srt"}, folder / "no/talk.srt: the folder "},
        {{"--export", package.url().string() + "/x.srt/"}, package.url().string() + "/x.srt/: "},
    };
    const auto before = folder.contents();
    for (const auto& [options, message] : faults) {
        Program::Arguments arguments{"captions", package.url().string()};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const Outcome outcome = Program::run(arguments);
        EXPECT_EQ(outcome.status, 1) << options.back();
        EXPECT_EQ(outcome.errors.find("lumenwhirl: " + message), 0U) << outcome.errors;
        EXPECT_EQ(outcome.errors.find('\n'), outcome.errors.size() - 1);
        EXPECT_EQ(folder.contents(), before);
    }
}

}  // namespace
}  // namespace lumenwhirl::test
