#include "Media/VideoReader.h"
#include "Tests/EndToEnd/TestFolder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <sstream>

namespace lumenwhirl::test {
namespace {

int framesIn(const std::string& file) {
    VideoReader reader{file};
    int count = 0;
    while (reader.next()) ++count;
    return count;
}

/// What other programs see in a file.
std::string probed(const std::string& file) {
    const std::string command = "ffprobe -v error -of json -show_streams -show_format '" + file + "'";
    std::FILE* pipe = ::popen(command.c_str(), "r");
    std::string text;
    char buffer[4096];
    while (const std::size_t count = std::fread(buffer, 1, sizeof buffer, pipe)) text.append(buffer, count);
    EXPECT_EQ(::pclose(pipe), 0) << file;
    return text;
}

struct Expected {
    std::string preset, ending, container, codec, profile, tag, pixels;
};

TEST(ExportCommand, writesIntoTheCurrentFolderAndSaysNothingOnAPipe) {
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

TEST(ExportCommand, reportsItsProgressAsJson) {
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
    // It stops when nobody can read that.
    folder.expectFailure({"export", package, "-o", folder / "second.mp4", "--progress", "json"}, 1,
                         "standard output: ", {.hasFullOutput = true});
}

TEST(ExportCommand, anInterruptedExportLeavesTheOldFileAndNothingElse) {
    int signal = SIGINT;
    for (const std::string preset : {"web", "social", "prores", "gif"}) {
        SCOPED_TRACE(preset);
        const TestFolder folder;
        const std::string package = folder.makeRecording(400).url().string();
        const std::string output = folder / "out";
        writeFile(output, "yesterday's video");
        const auto before = folder.contents();
        Program program({"export", package, "-o", output, "--preset", preset, "--progress", "json"});
        // Its progress is not read yet, so that it waits after some 80 frames until it has been told to stop.
        program.waitForOutput();
        program.send(signal);
        const Outcome outcome = program.wait();
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.errors, "lumenwhirl: " + output + ": cancelled; nothing was written\n");
        EXPECT_EQ(folder.contents(), before);
        signal = signal == SIGINT ? SIGTERM : SIGINT;
    }
}

TEST(ExportCommand, usesTheEncoderThatIsNamedOrSaysThatItDoesNotWork) {
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
            EXPECT_TRUE(outcome.errors.starts_with("lumenwhirl: " + output + ": the encoder " + encoder +
                                                   " does not work on this machine ("))
                << outcome.errors;
            EXPECT_EQ(outcome.errors.find('\n'), outcome.errors.size() - 1) << outcome.errors;
        }
        EXPECT_EQ(folder.contents(), before);
    }
    for (const auto& [ending, what] : {std::pair{".mov", "ProRes"}, std::pair{".gif", "GIFs"}})
        folder.expectFailure(
            {"export", package, "-o", folder / ("out" + std::string(ending)), "--encoder", "vaapi"}, 1,
            folder / ("out" + std::string(ending)) + ": the encoder vaapi cannot make " + what);
}

// One second of the demo at 1280x720 and 30 frames a second, in every preset.
TEST(ExportCommand, presetsAreWhatOtherProgramsExpect) {
    const TestFolder folder;
    const Outcome demo =
        Program::run({"demo", folder.path(), "--seconds", "1", "--size", "1280x720", "--fps", "30"});
    ASSERT_EQ(demo.status, 0) << demo.errors;
    const auto exported = [&](const std::string& preset, const std::string& ending) {
        const std::string file = folder / (preset + ending);
        const Outcome outcome = Program::run(
            {"export", folder / "Demo.lumenwhirl", "-o", file, "--preset", preset, "--encoder", "software"});
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        return file;
    };
    for (const Expected& expected :
         {Expected{"web", ".mp4", "isom", "h264", "High", "avc1", "yuv420p"},
          Expected{"social", ".mp4", "isom", "hevc", "Main", "hvc1", "yuv420p"},
          Expected{"prores", ".mov", "qt  ", "prores", "Standard", "apcn", "yuv422p10le"}}) {
        SCOPED_TRACE(expected.preset);
        const std::string file = exported(expected.preset, expected.ending);
        const Json probe(probed(file));
        EXPECT_EQ(probe.text("/format/tags/major_brand"), expected.container);
        EXPECT_EQ(probe.text("/streams/0/codec_name"), expected.codec);
        EXPECT_EQ(probe.text("/streams/0/profile"), expected.profile);
        EXPECT_EQ(probe.text("/streams/0/codec_tag_string"), expected.tag);
        EXPECT_EQ(probe.text("/streams/0/pix_fmt"), expected.pixels);
        for (const char* const tag : {"color_space", "color_transfer", "color_primaries"})
            EXPECT_EQ(probe.text(std::string("/streams/0/") + tag), "bt709") << tag;
        if (expected.ending == ".mp4") {  // MOV files do not state it
            EXPECT_EQ(probe.text("/streams/0/color_range"), "tv");
        }
        EXPECT_EQ(probe.number("/streams/0/width"), 1280);
        EXPECT_EQ(probe.number("/streams/0/height"), 720);
        EXPECT_EQ(probe.text("/streams/0/avg_frame_rate"), "30/1");
        EXPECT_EQ(probe.text("/streams/0/nb_frames"), "30");
        EXPECT_EQ(probe.text("/streams/0/duration"), "1.000000");
        EXPECT_EQ(probe.text("/streams/1/codec_name"), "aac");
        EXPECT_NEAR(std::stod(probe.text("/streams/1/duration")), 1, 0.03);
        const std::string bytes = contentsOf(file);
        EXPECT_LT(bytes.find("moov"), bytes.find("mdat")) << "the index is not in front";
    }
    const std::string gif = exported("gif", ".gif");
    const Json probe(probed(gif));
    EXPECT_EQ(probe.text("/streams/0/codec_name"), "gif");
    EXPECT_EQ(probe.number("/streams/0/width"), 720);
    EXPECT_EQ(probe.number("/streams/0/height"), 405);
    EXPECT_EQ(probe.count("/streams"), 1U);
    EXPECT_NEAR(std::stod(probe.text("/format/duration")), 1, 0.011);
    // The extension that states the number of loops: 0 is endless.
    EXPECT_NE(contentsOf(gif).find(std::string("NETSCAPE2.0\x03\x01\0\0\0", 16)), std::string::npos);
}

TEST(FrameCommand, zoomsUnlessToldNotToAndClampsItsTime) {
    const TestFolder folder;
    const std::string package = folder.makeRecording().url().string(), image = folder / "frame.png";
    const auto frame = [&](const std::string& time, bool zooms) {
        Program::Arguments arguments{"frame", package, "--at", time, "-o", image};
        if (!zooms) arguments.push_back("--no-zoom");
        const Outcome outcome = Program::run(arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        return contentsOf(image);
    };
    EXPECT_NE(frame("0.5", true), frame("0.5", false));  // the click in the middle makes a zoom
    EXPECT_EQ(frame("-1e300", true), frame("0", true));
    EXPECT_EQ(frame("1e300", true), frame("0.99", true));
    const Json probe(probed(image));
    EXPECT_EQ(probe.text("/streams/0/codec_name"), "png");
    EXPECT_EQ(probe.number("/streams/0/width"), 320);
}

}  // namespace
}  // namespace lumenwhirl::test
