#include "Lumenwhirl/Commands/RecordingLine.h"
#include "Lumenwhirl/Commands/RecordingNames.h"
#include "Tests/Support/Files.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

namespace lumenwhirl {
namespace {

using Symbols = ProgressLine::Symbols;

constexpr RecordingController::Progress running{
    .seconds = 72.9, .file = {.framesWritten = 4321, .framesDropped = 2, .bytes = 9'400'000}, .audioLevel = 0.1F};

TEST(RecordingLine, saysTimePicturesSizeAndLoudness) {
    // 0.1 is -20 dB, two thirds of the way up from -60: seven steps of ten.
    EXPECT_EQ(recordingLine(running, true, Symbols::ascii, 120),
              "Recording  1:12  4321 frames  2 dropped  9.4 MB  [#######   ]");
    EXPECT_EQ(recordingLine(running, false, Symbols::ascii, 120),
              "Recording  1:12  4321 frames  2 dropped  9.4 MB");
    EXPECT_NE(recordingLine(running, true, Symbols::unicode, 120).find("▮▮▮▮▮▮▮   ]"), std::string::npos);
    EXPECT_NE(recordingLine({}, true, Symbols::ascii, 120).find("[          ]"), std::string::npos);
}

TEST(RecordingLine, narrowTerminalsKeepWhatMattersMost) {
    for (int columns = 0; columns < 120; ++columns)
        EXPECT_LE(recordingLine(running, true, Symbols::ascii, columns).size(), static_cast<std::size_t>(columns));
    EXPECT_EQ(recordingLine(running, true, Symbols::ascii, 30), "Recording  1:12  [#######   ]");
    EXPECT_EQ(recordingLine(running, false, Symbols::ascii, 30), "Recording  1:12  2 dropped");
}

/// Sets a variable of the environment, and sets it back.
class Variable {
public:
    Variable(const char* name, const std::string& value) : name_(name) {
        if (const char* const old = std::getenv(name)) old_ = old;
        setenv(name, value.c_str(), 1);
    }
    ~Variable() {
        if (old_.empty()) {
            unsetenv(name_);
        } else {
            setenv(name_, old_.c_str(), 1);
        }
    }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

private:
    const char* name_;
    std::string old_;
};

TEST(RecordingNames, goIntoTheUsersFolderOfVideos) {
    const TemporaryFolder home;
    const Variable homeVariable("HOME", home.path().string()), config("XDG_CONFIG_HOME", "");
    const auto folderWith = [&](const std::string& line) {
        std::filesystem::create_directories(home / ".config");
        std::ofstream(home / ".config" / "user-dirs.dirs") << "# a comment\nXDG_MUSIC_DIR=\"$HOME/Sound\"\n"
                                                           << line;
        return RecordingNames::defaultFolder();
    };
    EXPECT_EQ(RecordingNames::defaultFolder(), home / "Videos" / "Lumenwhirl");
    EXPECT_EQ(folderWith("XDG_VIDEOS_DIR=\"$HOME/Vidéos de moi\"\n"), home / "Vidéos de moi" / "Lumenwhirl");
    EXPECT_EQ(folderWith("XDG_VIDEOS_DIR=\"/media/films\"\n"), "/media/films/Lumenwhirl");
    EXPECT_EQ(folderWith("XDG_VIDEOS_DIR=\"$HOME/\"\n"),
              home / "Videos" / "Lumenwhirl");  // the home itself: unset
    const Variable noHome("HOME", "");
    EXPECT_EQ(RecordingNames::defaultFolder(), "Lumenwhirl");
}

TEST(RecordingNames, sayDateAndTime) {
    const Variable zone("TZ", "UTC");
    tzset();
    EXPECT_EQ(RecordingNames::defaultName(1717174929), "Lumenwhirl 2024-05-31 at 17.02.09");
}

}  // namespace
}  // namespace lumenwhirl
