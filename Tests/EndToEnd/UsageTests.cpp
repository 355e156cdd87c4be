#include "Tests/EndToEnd/Json.h"
#include "Tests/EndToEnd/Program.h"
#include "Tests/EndToEnd/TestFolder.h"

#include <gtest/gtest.h>

namespace lumenwhirl::test {
namespace {

const std::vector<std::string> commands{"demo", "export", "frame", "inspect", "loudness", "captions"};

TEST(Usage, helpAndVersionAreEverywhere) {
    EXPECT_EQ(Program::run({"--version"}).output, "lumenwhirl 0.1.0\n");
    const Outcome help = Program::run({"--help"});
    EXPECT_EQ(help.status, 0);
    for (const std::string& command : commands) {
        EXPECT_NE(help.output.find("  " + command + " "), std::string::npos) << command;
        const Outcome version = Program::run({command, "--version"});
        EXPECT_EQ(version.status, 0);
        EXPECT_EQ(version.output, "lumenwhirl 0.1.0\n");
        const Outcome commandHelp = Program::run({command, "--help"});
        EXPECT_EQ(commandHelp.status, 0);
        EXPECT_NE(commandHelp.output.find("lumenwhirl " + command), std::string::npos) << commandHelp.output;
        EXPECT_EQ(commandHelp.errors, "");
    }
}

TEST(Usage, whatIsNotOfferedIsStatus2WithOneLine) {
    const TestFolder folder;
    const std::string package = folder.makeDocuments().url().string();
    const std::vector<Program::Arguments> wrong{
        {},
        {"dance"},
        {"--dance"},
        {"export"},
        {"export", package, "another"},
        {"export", package, "--dance"},
        {"export", package, "--preset", "vhs"},
        {"export", package, "--preset"},
        {"export", package, "--progress", "lots"},
        {"export", package, "--encoder", "warp"},
        {"export", package, "--encoder", ""},
        {"frame", package, "--at", "1"},
        {"frame", package, "-o", "frame.png"},
        {"inspect", package, "--at"},
        {"inspect", package, "--at", "soon"},
        {"inspect", package, "--at", "1,5"},
        {"inspect", package, "--at", "nan"},
        {"inspect", package, "--at", "inf"},
        {"inspect", package, "--at", "1e999"},
        {"inspect", package, "--at", "0x10"},
        {"inspect", package, "--at", ""},
        {"loudness"},
        {"loudness", "file.wav", "--gain", "0"},
        {"loudness", "file.wav", "--gain", "-2"},
        {"captions", package},
        {"captions", package, "--clear", "--import", "file.srt"},
        {"captions", package, "--export", "file.json"},
        {"demo", "--seconds", "-3"},
        {"demo", "--seconds", "0"},
        {"demo", "--size", "wide"},
        {"demo", "--size", "0x0"},
        {"demo", "--fps", "sixty"},
        {"demo", "--export", "demo.avi"},
    };
    for (const Program::Arguments& arguments : wrong) {
        const Outcome outcome = Program::run(arguments, {.folder = folder.path()});
        EXPECT_EQ(outcome.status, 2) << testing::PrintToString(arguments);
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(outcome.errors.find("lumenwhirl: "), 0U) << testing::PrintToString(arguments) << outcome.errors;
        EXPECT_EQ(outcome.errors.find('\n'), outcome.errors.size() - 1) << outcome.errors;
    }
}

TEST(Usage, anOptionTakesNoMoreThanItsValue) {
    const TestFolder folder;
    const std::string package = folder.makeDocuments().url().string();
    const Outcome outcome = Program::run({"inspect", "--at", "1", "--at", "-2.5", package});
    ASSERT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(Json(outcome.output).number("/states/1/outputTime"), -2.5);
}

TEST(Usage, aFailureIsOneLineWhateverTheFileIsCalled) {
    const Outcome outcome = Program::run({"inspect", "two\nlines\x1b[31m.lumenwhirl"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "lumenwhirl: two\\nlines\\x1b[31m.lumenwhirl: no such package\n");
}

TEST(Usage, anOutputThatCannotBeWrittenIsAFailure) {
    const TestFolder folder;
    const Outcome outcome =
        Program::run({"inspect", folder.makeDocuments().url().string()}, {.hasClosedOutput = true});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors.find("lumenwhirl: standard output: "), 0U) << outcome.errors;
}

}  // namespace
}  // namespace lumenwhirl::test
