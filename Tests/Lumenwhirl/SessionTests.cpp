#include "Lumenwhirl/Session/Export.h"
#include "Lumenwhirl/Session/Packages.h"
#include "Lumenwhirl/Session/Recording.h"
#include "Lumenwhirl/Session/Texts.h"
#include "Tests/Recorder/ScriptedDesktop.h"
#include "Tests/Support/Files.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

namespace lumenwhirl::test {
namespace {

namespace fs = std::filesystem;

TEST(Texts, durationsAndSizesAreRounded) {
    EXPECT_EQ(durationText(0), "0:00");
    EXPECT_EQ(durationText(6.2), "0:07");  // never less than it takes
    EXPECT_EQ(durationText(3599.5), "1:00:00");
    EXPECT_EQ(durationText(1e300), "99:59:59");
    EXPECT_EQ(sizeText(999), "999 bytes");
    EXPECT_EQ(sizeText(1000), "1.0 kB");
    EXPECT_EQ(sizeText(999949), "999.9 kB");
    EXPECT_EQ(sizeText(999950), "1.0 MB");
    EXPECT_EQ(sizeText(8'400'000'000), "8.4 GB");
}

/// Sets an environment variable, and restores it.
class Variable {
public:
    Variable(const char* name, const std::string& value) : name_(name) {
        if (const char* const old = std::getenv(name)) old_ = old;
        setenv(name, value.c_str(), 1);
    }
    ~Variable() {
        if (old_) {
            setenv(name_, old_->c_str(), 1);
        } else {
            unsetenv(name_);
        }
    }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

private:
    const char* name_;
    std::optional<std::string> old_;
};

TEST(Session, recordingsGoIntoTheDesktopsFolderForVideos) {
    const TemporaryFolder home;
    const Variable homeVariable("HOME", home.path().string()), config("XDG_CONFIG_HOME", "");
    const auto folderWith = [&](const std::string& line) {
        fs::create_directories(home / ".config");
        std::ofstream(home / ".config" / "user-dirs.dirs") << "# a comment\nXDG_MUSIC_DIR=\"$HOME/Music\"\n"
                                                           << line;
        return Session::defaultRecordingFolder();
    };
    EXPECT_EQ(Session::defaultRecordingFolder(), home / "Videos" / "Lumenwhirl");
    EXPECT_EQ(folderWith("XDG_VIDEOS_DIR=\"$HOME/Vidéos de moi\"\n"), home / "Vidéos de moi" / "Lumenwhirl");
    EXPECT_EQ(folderWith("XDG_VIDEOS_DIR=\"/media/films\"\n"), "/media/films/Lumenwhirl");
    // The home folder itself stands for "unset".
    EXPECT_EQ(folderWith("XDG_VIDEOS_DIR=\"$HOME/\"\n"), home / "Videos" / "Lumenwhirl");
    const Variable noHome("HOME", "");
    EXPECT_TRUE(Session::defaultRecordingFolder().is_absolute()) << "the account has a home";
}

/// Records a scripted display that shows one frame, a quarter of a second after the start.
class SessionRecordingTest : public testing::Test {
protected:
    SessionRecordingTest() {
        screen.displayList = {{.id = 1, .bounds = {0, 0, 320, 180}, .isPrimary = true}};
        clock.at(clock.now() + 0.25,
                 [this] { screen.capture.deliver(Picture(320, 180, 0x102030).frame(clock.now())); });
    }
    Session::RecordingRequest request() {
        return {.options = {.target = Session::primaryDisplay(screen), .encoder = EncoderChoice::software},
                .name = "Take",
                .folder = folder.path(),
                .onStopKey = [this] { ++stopKeyPresses; }};
    }

    TemporaryFolder folder;
    VirtualClock clock;
    ScriptedScreen screen;
    ScriptedAudioSystem audio;
    int stopKeyPresses = 0;
};

TEST_F(SessionRecordingTest, theResultHasThePackageAndEveryNotice) {
    Session::RecordingRequest withMicrophone = request();
    withMicrophone.options.captureMic = true;
    Session::Recording recording(screen, audio, clock, withMicrophone, {});
    ASSERT_EQ(recording.notices().size(), 1U);
    EXPECT_NE(recording.notices()[0].find("without a microphone"), std::string::npos);
    EXPECT_FALSE(recording.hasEnded());
    screen.pressHotKey();
    EXPECT_EQ(stopKeyPresses, 1);
    clock.advanceTo(clock.now() + 1);
    screen.capture.end("the window was closed");
    EXPECT_TRUE(recording.hasEnded());
    const Session::Recording::Result result = recording.stop();
    EXPECT_EQ(result.package.url(), folder / "Take.lumenwhirl");
    EXPECT_EQ(result.notices, std::vector<std::string>{"the recording has ended: the window was closed"});
    EXPECT_FALSE(result.failure);
    EXPECT_NEAR(result.progress.seconds, 1, 0.02);
    EXPECT_EQ(result.package.readEvents().recording.display.pixelWidth, 320);
}

TEST_F(SessionRecordingTest, aNameIsMoreThanDotsAndIsFoundWhereNoneIsGiven) {
    Session::RecordingRequest unnamed = request();
    unnamed.name = ".";
    EXPECT_THROW(Session::Recording(screen, audio, clock, unnamed, {}), Session::Error);
    EXPECT_TRUE(folder.isEmpty());
    unnamed.name = "";
    for (int second = 0; second < 60; ++second)
        fs::create_directory(
            LumenwhirlPackage::pathFor(Session::defaultRecordingName(std::time(nullptr) + second), folder.path()));
    Session::Recording recording(screen, audio, clock, unnamed, {});
    EXPECT_TRUE(recording.package().url().string().ends_with(" 2.lumenwhirl")) << recording.package().url();
    EXPECT_EQ(recording.stop().package.readEvents().recording.display.pixelWidth, 320);
}

class SessionExportTest : public testing::Test {
protected:
    SessionExportTest() : package(LumenwhirlPackage::create("Talk", folder.path())) {
        EventLog events;
        events.recording.display = {.pixelWidth = 320, .pixelHeight = 180, .pointWidth = 320, .pointHeight = 180};
        package.writeEvents(events);
        package.writeProject(ProjectSettings::makeDefault(10, false, false));
    }
    std::string problemWith(const Session::ExportChoices& choices) {
        try {
            (void)Session::prepareExport(package, choices);
        } catch (const Session::Error& error) {
            return error.what();
        }
        return "";
    }

    TemporaryFolder folder;
    LumenwhirlPackage package;
};

TEST_F(SessionExportTest, whatIsLeftOpenComesFromTheProjectAndThePackage) {
    ProjectSettings project = package.readProject();
    project.exportSettings.preset = "gif";
    package.writeProject(project);
    const Session::ExportTask task = Session::prepareExport(package, {});
    EXPECT_EQ(task.preset, Preset::gif);
    EXPECT_EQ(task.destination, "Talk.gif");
    EXPECT_EQ(task.project, project);
    EXPECT_EQ(Session::prepareExport(package, {.preset = Preset::prores}).destination, "Talk.mov");
    // An extension that does not fit the project's preset asks for another, however it is written.
    for (const auto& [name, preset] :
         {std::pair{"a.mov", Preset::prores}, {"a.MP4", Preset::web}, {"a", Preset::gif}})
        EXPECT_EQ(Session::prepareExport(package, {.destination = folder / name}).preset, preset) << name;
    project.exportSettings.preset = "social";
    package.writeProject(project);
    EXPECT_EQ(Session::prepareExport(package, {.destination = folder / "a.mp4"}).preset, Preset::social);
    project.exportSettings.preset = "cinema";
    package.writeProject(project);
    EXPECT_EQ(problemWith({}),
              package.projectURL().string() +
                  ": export.preset: unknown preset \"cinema\"; must be one of web, social, prores, gif");
}

TEST_F(SessionExportTest, aDestinationIsCheckedBeforeTheWork) {
    const auto refuse = [&](const fs::path& destination, const std::string& problem) {
        EXPECT_EQ(problemWith({.destination = destination}).find(destination.string() + ": " + problem), 0U)
            << problemWith({.destination = destination});
    };
    std::ofstream(folder / "file") << "text";
    refuse(folder.path(), "is a folder");
    refuse(folder / "no/such/out.mp4", "the folder ");
    refuse(folder / "file/out.mp4", "the folder ");
    refuse(package.recordingURL(), "belongs to the recording");
    refuse(package.micURL(), "belongs to the recording");
    refuse("/dev/null", "is not a regular file");
    fs::create_symlink(package.eventsURL(), folder / "link.mp4");
    refuse(folder / "link.mp4", "belongs to the recording");
    EXPECT_EQ(problemWith({.destination = folder / "file"}), "");  // a file is replaced
}

}  // namespace
}  // namespace lumenwhirl::test
