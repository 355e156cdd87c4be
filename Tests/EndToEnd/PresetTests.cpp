#include "Tests/EndToEnd/Json.h"
#include "Tests/EndToEnd/Program.h"
#include "Tests/EndToEnd/TestFolder.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace lumenwhirl::test {
namespace {

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

// One second of the demo at 1280x720 and 30 frames a second, in every preset.
TEST(Presets, areWhatOtherProgramsExpect) {
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
        if (expected.ending == ".mp4") {  // a MOV cannot tell
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
    // The extension that says how often: 0 is for ever.
    EXPECT_NE(contentsOf(gif).find(std::string("NETSCAPE2.0\x03\x01\0\0\0", 16)), std::string::npos);
}

}  // namespace
}  // namespace lumenwhirl::test
