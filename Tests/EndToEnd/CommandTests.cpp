#include "Media/VideoReader.h"
#include "Tests/EndToEnd/TestFolder.h"

#include <gtest/gtest.h>

namespace lumenwhirl::test {
namespace {

Program::Arguments joined(Program::Arguments first, const Program::Arguments& more) {
    first.insert(first.end(), more.begin(), more.end());
    return first;
}

TEST(Usage, everyCommandHasHelpAndAVersion) {
    const Outcome help = Program::run({"--help"});
    EXPECT_EQ(help.status, 0);
    for (const std::string command : {"record", "targets", "microphones", "permissions", "demo", "export", "frame",
                                      "inspect", "loudness", "captions"}) {
        EXPECT_NE(help.output.find("  " + command + " "), std::string::npos) << command;
        EXPECT_EQ(Program::run({command, "--version"}).output, "lumenwhirl 0.1.0\n");
        const Outcome commandHelp = Program::run({command, "--help"});
        EXPECT_EQ(commandHelp.status, 0);
        EXPECT_NE(commandHelp.output.find("lumenwhirl " + command), std::string::npos) << commandHelp.output;
        EXPECT_EQ(commandHelp.errors, "");
    }
}

TEST(Usage, mistakesHaveStatus2) {
    const TestFolder folder;
    const std::string package = folder.makeDocuments().url().string();
    const std::vector<Program::Arguments> mistakes{
        {},
        {"dance"},
        {"--dance"},
        {"--dance", "targets"},
        {"export", package, "--", "x"},
        {"export"},
        {"export", package, "another"},
        {"export", package, "--preset", "vhs"},
        {"export", package, "--preset"},
        {"export", package, "-o", "out.webm"},
        {"export", package, "-o", "out.gif", "--preset", "web"},
        {"export", package, "--progress", "lots"},
        {"export", package, "--encoder", "warp"},
        {"frame", package, "--at", "1"},
        {"inspect", package, "--at"},
        {"inspect", package, "--at", "1,5"},
        {"inspect", package, "--at", "nan"},
        {"inspect", package, "--at", "1e999"},
        {"inspect", package, "--at", "0x10"},
        {"inspect", package, "--at", ""},
        {"loudness"},
        {"loudness", "file.wav", "--gain", "0"},
        {"captions", package},
        {"captions", package, "--clear", "--import", "file.srt"},
        {"captions", package, "--export", "file.json"},
        {"demo", "--seconds", "-3"},
        {"demo", "--size", "wide"},
        {"demo", "--size", "0x0"},
        {"demo", "--fps", "sixty"},
        {"demo", "--export", "demo.avi"},
    };
    for (const Program::Arguments& arguments : mistakes)
        folder.expectFailure(arguments, 2, "", {.folder = folder.path()});
}

TEST(Usage, anOptionTakesNoMoreThanItsValue) {
    const TestFolder folder;
    const Outcome outcome =
        Program::run({"inspect", "--at", "1", "--at", "-2.5", folder.makeDocuments().url().string()});
    ASSERT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(Json(outcome.output).number("/states/1/outputTime"), -2.5);
}

TEST(Usage, failuresAreOneLineWhateverTheNameOrTheOutput) {
    const TestFolder folder;
    folder.expectFailure({"inspect", "two\nlines\x1b[31m\xC2\x9B\u202E.lumenwhirl"}, 1,
                         "two\\nlines\\x1b[31m\\x9b\\u202e.lumenwhirl: no such package");
    folder.expectFailure({"inspect", folder.makeDocuments().url().string()}, 1,
                         "standard output: ", {.hasFullOutput = true});
}

class DemoCommand : public testing::Test {
protected:
    static Outcome demo(const TestFolder& folder, const Program::Arguments& more) {
        return Program::run(joined(small, more), {.folder = folder.path()});
    }
    static inline const Program::Arguments small{"demo",   ".",       "--seconds", "1",
                                                 "--size", "320x180", "--fps",     "30"};
};

TEST_F(DemoCommand, makesARecordingAndItsVideo) {
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
    // Another seed makes another recording, in place of the first.
    const std::string events = contentsOf(folder / "Demo.lumenwhirl/events.json");
    ASSERT_EQ(demo(folder, {"--seed", "1"}).status, 0);
    EXPECT_EQ(contentsOf(folder / "Demo.lumenwhirl/events.json"), events);
    ASSERT_EQ(demo(folder, {"--seed", "6"}).status, 0);
    EXPECT_NE(contentsOf(folder / "Demo.lumenwhirl/events.json"), events);
}

TEST_F(DemoCommand, failsBeforeTheWorkBegins) {
    const TestFolder folder;
    const Program::Surroundings here{.folder = folder.path()};
    folder.expectFailure(joined(small, {"--export", "demo.avi"}), 2, "--export: demo.avi: the name must end in ",
                         here);
    folder.expectFailure(joined(small, {"--export", "no/demo.mp4"}), 1, "no/demo.mp4: the folder no ", here);
    writeFile(folder / "file", "");
    folder.expectFailure({"demo", folder / "file", "--seconds", "1", "--size", "320x180"}, 1, folder / "file");
}

Json loudness(const Program::Arguments& arguments) {
    const Outcome outcome = Program::run(joined({"loudness"}, arguments));
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    return Json(outcome.output);
}

TEST(LoudnessCommand, makesALouderCopyOfQuietSpeech) {
    const TestFolder folder;
    const std::string recording = folder.makeRecording().recordingURL().string(), copy = folder / "loud.m4a";
    const auto before = folder.contents();
    EXPECT_NEAR(loudness({recording, "-o", copy, "--gain", "1.05"}).number("/gain"), 1.05, 1e-6);
    EXPECT_EQ(folder.contents(), before);  // not worth a copy
    const Json quiet = loudness({recording, "-o", copy});
    const double level = quiet.number("/speechLevel");
    EXPECT_NEAR(level, 0.05, 0.01);  // a square wave of 0.05, whose edges lose a little in coding
    EXPECT_NEAR(quiet.number("/gain"), 0.14 / level, 1e-4);
    EXPECT_EQ(quiet.number("/sampleRate"), 48000);
    EXPECT_EQ(quiet.number("/channels"), 1);
    EXPECT_NEAR(loudness({copy}).number("/speechLevel"), 0.14, 0.015);
    EXPECT_EQ(loudness({recording, "-o", copy, "--gain", "2"}).number("/gain"), 2);
    EXPECT_NEAR(loudness({copy}).number("/speechLevel"), 2 * level, 0.01);
    const std::string missing = folder / "missing.wav", text = folder / "Recording.lumenwhirl/events.json";
    folder.expectFailure({"loudness", missing}, 1, missing + ": ");
    folder.expectFailure({"loudness", text}, 1, text + ": ");
}

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
    ASSERT_EQ(Program::run({"captions", package.url().string(), "--clear"}).status, 0);
    project.captions->cues.clear();
    EXPECT_EQ(package.readProject(), project);
}

TEST(CaptionsCommand, aFileIsReadAndWrittenByItsExtension) {
    const TestFolder folder;
    const std::string package = folder.makeDocuments().url().string();
    const std::string words = folder / "words.json", vtt = folder / "talk.vtt", srt = folder / "talk.SRT";
    writeFile(words, R"([{"text":"Hello","start":1,"end":1.5},{"text":"world","start":1.6,"end":2}])");
    ASSERT_EQ(Program::run({"captions", package, "--import", words, "--export", vtt}).status, 0);
    EXPECT_EQ(contentsOf(vtt), "WEBVTT\n\n00:00:01.000 --> 00:00:02.000\nHello world\n");
    ASSERT_EQ(Program::run({"captions", package, "--import", vtt, "--export", srt}).status, 0);
    EXPECT_EQ(contentsOf(srt), "1\n00:00:01,000 --> 00:00:02,000\nHello world\n");
}

TEST(CaptionsCommand, aBadFileChangesNothingAndIsNamed) {
    const TestFolder folder;
    const std::string package = folder.makeDocuments().url().string();
    writeFile(folder / "bad.srt", "1\n00:00:01,000 --> 00:00:02,500\nHello\n\n2\n00:00:03,000 --> later\n");
    writeFile(folder / "bad.json", R"([{"text":"Hello","start":"one"}])");
    writeFile(folder / "empty.srt", "\n");
    writeFile(folder / "captions.txt", "");
    for (const auto& [file, problem] :
         std::vector<std::pair<std::string, std::string>>{{folder / "bad.srt", "line 6: "},
                                                          {folder / "bad.json", "[0].start: "},
                                                          {folder / "empty.srt", "contains no captions"},
                                                          {folder / "captions.txt", "the name must end in "},
                                                          {folder / "missing.srt", "cannot open: "},
                                                          {folder.path().string(), ""},
                                                          {"/dev/zero.srt", ""}})
        folder.expectFailure({"captions", package, "--import", file}, 1, file + ": " + problem);
}

}  // namespace
}  // namespace lumenwhirl::test
