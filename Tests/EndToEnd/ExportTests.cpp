#include "Media/VideoReader.h"
#include "Tests/EndToEnd/Json.h"
#include "Tests/EndToEnd/Program.h"
#include "Tests/EndToEnd/TestFolder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <sstream>

namespace lumenwhirl::test {
namespace {

int framesIn(const std::string& file) {
    VideoReader reader{file};
    int count = 0;
    while (reader.next()) ++count;
    return count;
}

/// Width and height as the picture's header states them, 0 when it is no PNG.
std::pair<int, int> sizeOfPng(const std::string& file) {
    const std::string bytes = contentsOf(file);
    if (bytes.size() < 24 || bytes.compare(0, 8, "\x89PNG\r\n\x1a\n") != 0) return {};
    const auto number = [&](std::size_t at) {
        int value = 0;
        for (std::size_t i = at; i < at + 4; ++i) value = value * 256 + static_cast<unsigned char>(bytes[i]);
        return value;
    };
    return {number(16), number(20)};
}

TEST(ExportCommand, writesTheVideoBesideItselfAndSaysNothingOnAPipe) {
    const TestFolder folder;
    const LumenwhirlPackage package = folder.makeRecording();
    const auto before = folder.contents();
    const Outcome outcome = Program::run({"export", package.url().string()}, {.folder = folder.path()});
    ASSERT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output + outcome.errors, "");
    EXPECT_EQ(framesIn(folder / "Recording.mp4"), 30);
    auto after = folder.contents();
    EXPECT_EQ(after.erase(folder / "Recording.mp4"), 1U);
    EXPECT_EQ(after, before);  // no other file is left, and the recording is untouched
}

TEST(ExportCommand, tellsItsProgressAsJson) {
    const TestFolder folder;
    const std::string package = folder.makeRecording().url().string();
    const std::string output = folder / "out.mp4";
    const Outcome outcome =
        Program::run({"export", package, "-o", output, "--preset", "social", "--progress", "json", "--no-zoom"});
    ASSERT_EQ(outcome.status, 0) << outcome.errors;
    std::istringstream lines(outcome.output);
    std::string line;
    double framesDone = 0;
    while (std::getline(lines, line) && line.find("\"output\"") == std::string::npos) {
        const Json json(line);
        EXPECT_GT(json.number("/framesDone"), framesDone);
        framesDone = json.number("/framesDone");
        EXPECT_EQ(json.number("/totalFrames"), 30);
        EXPECT_EQ(json.number("/fraction"), framesDone / 30);
    }
    EXPECT_EQ(framesDone, 30);
    const Json last(line);
    EXPECT_EQ(last.text("/output"), output);
    EXPECT_GT(last.number("/seconds"), 0);
    EXPECT_NEAR(last.number("/framesPerSecond") * last.number("/seconds"), 30, 1e-6);
    EXPECT_FALSE(std::getline(lines, line));
}

TEST(ExportCommand, anInterruptedExportLeavesTheOldFileAndNothingElse) {
    int signal = SIGINT;
    for (const std::string preset : {"web", "social", "prores", "gif"}) {
        SCOPED_TRACE(preset);
        const TestFolder folder;
        const std::string package = folder.makeRecording(400).url().string();
        const std::string output = folder / "out";
        writeFile(output, "the video of yesterday");
        const auto before = folder.contents();
        Program program({"export", package, "-o", output, "--preset", preset, "--progress", "json"});
        // Nobody reads its progress yet, so that it waits after some 80 frames until it has been told to stop.
        program.waitForOutput();
        program.send(signal);
        const Outcome outcome = program.wait();
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.errors, "lumenwhirl: " + output + ": cancelled; nothing was written\n");
        EXPECT_EQ(folder.contents(), before);
        signal = signal == SIGINT ? SIGTERM : SIGINT;
    }
}

TEST(ExportCommand, stopsWhenNobodyReadsItsProgress) {
    const TestFolder folder;
    const std::string package = folder.makeRecording().url().string();
    const auto before = folder.contents();
    const Outcome outcome = Program::run({"export", package, "-o", folder / "out.mp4", "--progress", "json"},
                                         {.hasClosedOutput = true});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors.find("lumenwhirl: standard output: "), 0U) << outcome.errors;
    EXPECT_EQ(folder.contents(), before);
}

TEST(ExportCommand, refusesPresetsThatAreNone) {
    const TestFolder folder;
    const LumenwhirlPackage package = folder.makeRecording();
    ProjectSettings project = package.readProject();
    project.exportSettings.preset = "cinema";
    package.writeProject(project);
    const Outcome stored = Program::run({"export", package.url().string()});
    EXPECT_EQ(stored.status, 1);
    EXPECT_EQ(stored.errors,
              "lumenwhirl: " + package.projectURL().string() +
                  ": export.preset: unknown preset \"cinema\"; must be one of web, social, prores, gif\n");
}

TEST(ExportCommand, encodesByWhatIsNamedOrSaysThatItDoesNotWorkHere) {
    const TestFolder folder;
    const std::string package = folder.makeRecording().url().string(), output = folder / "out.mp4";
    const auto before = folder.contents();
    for (const std::string encoder : {"auto", "software", "vaapi", "nvenc", "qsv"}) {
        SCOPED_TRACE(encoder);
        const Outcome outcome = Program::run({"export", package, "-o", output, "--encoder", encoder});
        if (outcome.status == 0) {
            EXPECT_EQ(outcome.errors, "");
            EXPECT_EQ(framesIn(output), 30);
            std::filesystem::remove(output);
        } else {
            EXPECT_TRUE(encoder != "auto" && encoder != "software");  // those work everywhere
            EXPECT_EQ(outcome.status, 1);
            EXPECT_EQ(outcome.errors.find("lumenwhirl: " + output + ": the encoder " + encoder +
                                          " does not work on this machine ("),
                      0U)
                << outcome.errors;
            EXPECT_EQ(outcome.errors.find('\n'), outcome.errors.size() - 1) << outcome.errors;
        }
        EXPECT_EQ(folder.contents(), before);
    }
}

TEST(ExportCommand, namesPresetsThatGraphicsCardsCannotEncode) {
    const TestFolder folder;
    const std::string package = folder.makeRecording().url().string();
    const auto before = folder.contents();
    for (const auto& [preset, what] : {std::pair{"prores", "ProRes"}, std::pair{"gif", "GIFs"}}) {
        const Outcome outcome =
            Program::run({"export", package, "-o", folder / "out", "--preset", preset, "--encoder", "vaapi"});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.errors, "lumenwhirl: " + (folder / "out") + ": the encoder vaapi cannot make " + what +
                                      "; choose \"software\" or \"auto\"\n");
        EXPECT_EQ(folder.contents(), before);
    }
}

TEST(FrameCommand, writesAPictureOfTheCanvas) {
    const TestFolder folder;
    const LumenwhirlPackage package = folder.makeRecording();
    ProjectSettings project = package.readProject();
    for (const auto& [aspect, size] : std::vector<std::pair<std::string, std::pair<int, int>>>{
             {"16:9", {320, 180}}, {"1:1", {320, 320}}, {"9:16", {180, 320}}}) {
        project.style.aspect = aspect;
        package.writeProject(project);
        const Outcome outcome =
            Program::run({"frame", package.url().string(), "--at", "0.5", "-o", folder / "frame.png"});
        ASSERT_EQ(outcome.status, 0) << outcome.errors;
        EXPECT_EQ(sizeOfPng(folder / "frame.png"), size) << aspect;
    }
}

TEST(FrameCommand, zoomsUnlessToldNotToAndClampsItsTime) {
    const TestFolder folder;
    const std::string package = folder.makeRecording().url().string();
    const auto frame = [&](const std::string& time, bool zooms) {
        Program::Arguments arguments{"frame", package, "--at", time, "-o", folder / "frame.png"};
        if (!zooms) arguments.push_back("--no-zoom");
        const Outcome outcome = Program::run(arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        return contentsOf(folder / "frame.png");
    };
    EXPECT_NE(frame("0.5", true), frame("0.5", false));  // the click in the middle makes a zoom
    EXPECT_EQ(frame("-1e300", true), frame("0", true));
    EXPECT_EQ(frame("1e300", true), frame("0.99", true));
}

}  // namespace
}  // namespace lumenwhirl::test
