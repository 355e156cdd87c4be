#include "Tests/EndToEnd/Json.h"
#include "Tests/EndToEnd/Program.h"
#include "Tests/EndToEnd/TestFolder.h"

#include <gtest/gtest.h>

namespace lumenwhirl::test {
namespace {

Json loudness(Program::Arguments arguments) {
    arguments.insert(arguments.begin(), "loudness");
    const Outcome outcome = Program::run(arguments);
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    return Json(outcome.output);
}

TEST(LoudnessCommand, quietSpeechGetsALouderCopy) {
    const TestFolder folder;
    const std::string recording = folder.makeRecording().recordingURL().string();
    // A square wave of 0.05 has this level too; coding costs some of its edges.
    const Json quiet = loudness({recording, "-o", folder / "loud.m4a"});
    EXPECT_NEAR(quiet.number("/speechLevel"), 0.05, 0.01);
    EXPECT_NEAR(quiet.number("/gain"), 0.14 / quiet.number("/speechLevel"), 1e-4);
    EXPECT_EQ(quiet.number("/sampleRate"), 48000);
    EXPECT_EQ(quiet.number("/channels"), 1);
    const Json loud = loudness({folder / "loud.m4a"});
    EXPECT_NEAR(loud.number("/speechLevel"), 0.14, 0.015);
}

TEST(LoudnessCommand, noCopyIsMadeWhereNoneIsCalledFor) {
    const TestFolder folder;
    const std::string recording = folder.makeRecording().recordingURL().string();
    const auto before = folder.contents();
    EXPECT_NEAR(loudness({recording, "-o", folder / "loud.m4a", "--gain", "1.05"}).number("/gain"), 1.05, 1e-6);
    EXPECT_EQ(folder.contents(), before);
    const Json doubled = loudness({recording, "-o", folder / "loud.m4a", "--gain", "2"});
    EXPECT_EQ(doubled.number("/gain"), 2);
    EXPECT_NEAR(loudness({folder / "loud.m4a"}).number("/speechLevel"), 2 * doubled.number("/speechLevel"), 0.01);
}

TEST(LoudnessCommand, failuresNameTheFileAndLeaveNothing) {
    const TestFolder folder;
    const LumenwhirlPackage package = folder.makeRecording();
    const std::string recording = package.recordingURL().string();
    const auto before = folder.contents();
    const std::vector<std::pair<Program::Arguments, std::string>> faults{
        {{folder / "missing.wav"}, folder / "missing.wav: "},
        {{package.eventsURL().string()}, package.eventsURL().string() + ": "},
        {{recording, "-o", folder.path().string()}, folder.path().string() + ": is a folder"},
        {{recording, "-o", folder / "no/loud.m4a"}, folder / "no/loud.m4a: the folder "},
        {{recording, "-o", recording}, recording + ": is the file to be measured"},
    };
    for (const auto& [arguments, message] : faults) {
        Program::Arguments all{"loudness"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        const Outcome outcome = Program::run(all);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(outcome.errors.find("lumenwhirl: " + message), 0U) << outcome.errors;
        EXPECT_EQ(outcome.errors.find('\n'), outcome.errors.size() - 1);
        EXPECT_EQ(folder.contents(), before);
    }
}

}  // namespace
}  // namespace lumenwhirl::test
