#include "Engine/Documents/LumenwhirlJSON.h"
#include "Media/AudioReader.h"
#include "Media/MediaError.h"
#include "Media/VideoReader.h"
#include "Recorder/Package/EventJournal.h"
#include "Recorder/PackageCompletion.h"
#include "Recorder/Platform/PlatformError.h"
#include "Recorder/RecordingController.h"
#include "Tests/Recorder/ScriptedDesktop.h"
#include "Tests/Support/Files.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <atomic>
#include <cmath>
#include <fstream>
#include <future>
#include <set>
#include <thread>

namespace lumenwhirl::test {
namespace {

namespace fs = std::filesystem;

constexpr double beginning = 1000.25;  // of the first frame, host clock

/// The peak of the first audio track between two times in seconds.
float peakBetween(const fs::path& file, double from, double to) {
    AudioReader reader(file);
    float peak = 0;
    double time = 0;
    for (AudioBuffer buffer; reader.read(buffer, 480); time += 480.0 / reader.sampleRate())
        if (time >= from && time < to)
            for (const float sample : buffer.channels.front()) peak = std::max(peak, std::abs(sample));
    return peak;
}

std::set<std::string> filesIn(const fs::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename().string());
    return names;
}

class RecordingControllerTest : public testing::Test {
protected:
    RecordingControllerTest() {
        audio.devices = {{"mic", "Microphone"}};
        audio.defaultID = "mic";
        clock.at(beginning, [this] { show(0x102030); });
    }

    [[nodiscard]] RecordingOptions options() const {
        return {.target =
                    CaptureDisplay{
                        .id = 1, .width = 320, .height = 180, .displayInfo = {1, 320, 180, 160, 90, 2, 100, 50}},
                .encoder = EncoderChoice::software};
    }
    LumenwhirlPackage begin(const RecordingOptions& how) {
        return controller.start(how, "Take", folder.path(), stop.get_token());
    }
    LumenwhirlPackage begin() { return begin(options()); }
    void killRecording(const LumenwhirlPackage& copy);
    void show(std::uint32_t color) {
        screen.capture.deliver(Picture(320, 180, color).frame(clock.now(), {100, 50}));
    }
    void showAt(double time, std::uint32_t color) {
        clock.advanceTo(time);
        show(color);
    }

    TemporaryFolder folder;
    VirtualClock clock{1000};
    ScriptedScreen screen;
    ScriptedAudioSystem audio;
    RecordingController controller{screen, audio, clock};
    std::stop_source stop;
};

TEST_F(RecordingControllerTest, leavesAWholePackage) {
    const LumenwhirlPackage package = begin();
    EXPECT_EQ(controller.state(), RecordingController::State::recording);
    EXPECT_EQ(package.url(), folder / "Take.lumenwhirl");
    EXPECT_TRUE(EventJournal::isBeingWritten(package.url()));
    EXPECT_THROW((void)PackageCompletion::recover(package), LumenwhirlPackage::Error);  // it is still running

    // Global points; the display has two pixels a point and begins at 100, 50.
    screen.inputControls.deliver({.kind = InputEvent::Kind::moved, .time = 1000.5, .position = {110, 60}});
    screen.inputControls.deliver({.kind = InputEvent::Kind::buttonChanged,
                                  .time = 1000.75,
                                  .position = {90, 60},
                                  .button = MouseButton::right,
                                  .phase = ClickPhase::up});
    screen.inputControls.deliver(
        {.kind = InputEvent::Kind::scrolled, .time = 1001, .position = {110, 60}, .dx = 0, .dy = -1});
    screen.inputControls.deliver({.kind = InputEvent::Kind::keyDown,
                                  .time = 1001.25,
                                  .keyCode = 1,
                                  .characters = "s",
                                  .modifiers = {.command = true, .shift = true}});
    // The key that stops the recording is not part of it.
    screen.inputControls.deliver({.kind = InputEvent::Kind::keyDown,
                                  .time = 1001.5,
                                  .keyCode = 19,
                                  .characters = "2",
                                  .modifiers = {.command = true, .shift = true}});
    showAt(1001.25, 0xF0F0F0);
    screen.capture.onStop = [&] { showAt(1002.25, 0xF0F0F0); };
    EXPECT_EQ(controller.stop().url(), package.url());
    EXPECT_EQ(controller.state(), RecordingController::State::idle);

    const EventLog log = package.readEvents();
    EXPECT_EQ(
        log,
        (EventLog{.recording = {.startHostTime = beginning, .fps = 60, .display = options().target.displayInfo()},
                  .cursor = {{0.25, 20, 20}},
                  .clicks = {{0.5, 0, 20, MouseButton::right, ClickPhase::up}},
                  .scroll = {{0.75, 20, 20, 0, -1}},
                  .keys = {{1, 1, "s", {"cmd", "shift"}, false}}}));
    ProjectSettings project = ProjectSettings::makeDefault(2, false, false);
    project.audio = AudioInfo{};
    EXPECT_EQ(LumenwhirlJSON::encode(package.readProject()), LumenwhirlJSON::encode(project));

    VideoReader video(package.recordingURL());
    std::vector<double> times;
    while (const auto frame = video.next()) times.push_back(frame->time());
    ASSERT_EQ(times.size(), 3U);
    EXPECT_NEAR(times[1], 1, 1e-6);
    EXPECT_NEAR(times[2], 2, 1e-6);
    EXPECT_EQ(filesIn(package.url()), (std::set<std::string>{"events.json", "project.json", "recording.mp4"}));
    EXPECT_FALSE(PackageCompletion::recover(package));
    for (const auto& entry : fs::directory_iterator(package.url()))
        EXPECT_EQ(fs::status(entry).permissions(), fs::perms::owner_read | fs::perms::owner_write) << entry;
    EXPECT_EQ(fs::status(package.url()).permissions(), fs::perms::owner_all);
    EXPECT_THROW(controller.stop(), RecordingError);
}

TEST_F(RecordingControllerTest, replacesOtherAudioByTheMicrophone) {
    RecordingOptions how = options();
    how.captureSystemAudio = how.captureMic = true;
    how.micDeviceID = "unplugged";
    const LumenwhirlPackage package = begin(how);
    EXPECT_FALSE(audio.system.deliver);
    EXPECT_EQ(audio.openedMicrophones, std::vector<std::string>{"mic"});
    audio.mic.play(beginning + 0.25, 0.75, 0.5F);  // it takes a while to open
    showAt(beginning + 1.25, 0);
    controller.stop();
    EXPECT_EQ(package.readProject().audio, (AudioInfo{.embedded = true, .hasMic = true, .hasSystem = false}));
    EXPECT_LT(peakBetween(package.recordingURL(), 0, 0.2), 0.1F);
    EXPECT_GT(peakBetween(package.recordingURL(), 0.3, 0.9), 0.4F);
    EXPECT_EQ(filesIn(package.url()),
              (std::set<std::string>{"events.json", "mic.m4a", "project.json", "recording.mp4"}));
}

TEST_F(RecordingControllerTest, doesWithoutWhatIsNotAvailable) {
    RecordingOptions how = options();
    how.captureMic = true;
    audio.isReachable = false;
    screen.inputControls.startFailure = "this server does not record";
    const LumenwhirlPackage package = begin(how);
    EXPECT_EQ(controller.notices().size(), 2U);
    showAt(1001, 0);
    controller.stop();
    EXPECT_EQ(package.readProject().audio, AudioInfo{});
    EXPECT_EQ(package.readEvents().cursor.size(), 0U);

    how.captureMic = false;
    how.captureSystemAudio = true;
    clock.at(clock.now() + 0.1, [this] { show(0); });
    (void)begin(how);
    EXPECT_EQ(controller.notices().size(), 2U);
    EXPECT_EQ(controller.stop().readProject().audio, AudioInfo{});

    audio.isReachable = true;
    audio.system.startFailure = "there is no audio output";
    clock.at(clock.now() + 0.1, [this] { show(0); });
    (void)begin(how);
    EXPECT_EQ(controller.audioFailure(), "there is no audio output");
    EXPECT_EQ(controller.stop().readProject().audio, AudioInfo{});

    how.captureMic = true;  // which then delivers nothing
    clock.at(clock.now() + 0.1, [this] { show(0); });
    (void)begin(how);
    EXPECT_EQ(controller.stop().readProject().audio, AudioInfo{});
}

/// For the thread sanitizer above all.
TEST_F(RecordingControllerTest, canBeAskedByAnotherThreadWhileItBeginsAndEnds) {
    class SteppingClock final : public HostClock {
    public:
        explicit SteppingClock(std::function<void(double)> afterSleep) : afterSleep_(std::move(afterSleep)) {}
        [[nodiscard]] double now() const override { return now_; }
        void sleep(double seconds, const std::stop_token&) override { afterSleep_(now_ = now_ + seconds); }

    private:
        std::atomic<double> now_ = 1000;
        std::function<void(double)> afterSleep_;
    };
    SteppingClock stepping([this](double now) {
        screen.capture.deliver(Picture(320, 180, 0).frame(now, {100, 50}));
    });
    RecordingController asked(screen, audio, stepping);
    std::atomic<bool> isWell = true;
    const std::jthread asking([&](const std::stop_token& end) {
        while (!end.stop_requested())
            if (asked.failure() || asked.endReason() || asked.audioFailure() || asked.progress().seconds < 0)
                isWell = false;
    });
    for (int i = 0; i < 3; ++i) {
        (void)asked.start(options(), "Take", folder.path(), stop.get_token());
        EXPECT_EQ(asked.state(), RecordingController::State::recording);
        (void)asked.stop();
    }
    EXPECT_TRUE(isWell);
}

TEST_F(RecordingControllerTest, reportsThatTheAudioHasEndedAndGoesOn) {
    RecordingOptions how = options();
    how.captureSystemAudio = true;
    for (const bool mic : {false, true}) {
        how.captureMic = mic;
        ScriptedAudio::Controls& device = mic ? audio.mic : audio.system;
        const double start = clock.now();
        if (!mic) clock.at(start + 0.2, [&] { device.play(start + 0.19, 0.01, 0); });
        clock.at(start + 0.25, [this] { show(0); });
        const LumenwhirlPackage package = begin(how);
        device.play(start + 0.25, 0.5, 0.5F);
        EXPECT_EQ(controller.audioFailure(), std::nullopt);
        device.end("it was unplugged");
        EXPECT_EQ(controller.audioFailure(), "it was unplugged");
        EXPECT_EQ(controller.progress().audioLevel, 0);
        showAt(start + 2.25, 0);
        controller.stop();
        EXPECT_EQ(package.readProject().audio, (AudioInfo{.embedded = true, .hasMic = mic, .hasSystem = !mic}));
        EXPECT_GT(peakBetween(package.recordingURL(), 0.1, 0.4), 0.4F);
    }
}

TEST_F(RecordingControllerTest, leavesNothingWhenItCannotBegin) {
    clock.at(1000.2, [this] { screen.capture.deliver({.status = FrameStatus::idle, .time = 1000.2}); });
    VirtualClock blank(2000);  // on which nothing is planned
    RecordingController waiting(screen, audio, blank);
    try {
        (void)waiting.start(options(), "Take", folder.path(), stop.get_token());
        FAIL();
    } catch (const RecordingError& error) {
        EXPECT_EQ(error.kind(), RecordingError::Kind::noFrames);
        EXPECT_NEAR(blank.now(), 2002, 0.03);
    }
    EXPECT_TRUE(folder.isEmpty());

    screen.capture.startFailure = "there is no such window";
    EXPECT_THROW(begin(), PlatformError);
    screen.capture.startFailure.clear();
    stop.request_stop();
    try {
        (void)begin();
        FAIL();
    } catch (const RecordingError& error) {
        EXPECT_EQ(error.kind(), RecordingError::Kind::cancelled);
    }
    EXPECT_TRUE(folder.isEmpty());
    EXPECT_EQ(controller.state(), RecordingController::State::idle);
}

TEST_F(RecordingControllerTest, leavesAnotherRecordingAloneWhenItCannotBegin) {
    const LumenwhirlPackage package = begin();
    RecordingController second(screen, audio, clock);
    EXPECT_THROW((void)second.start(options(), "Take", folder.path(), {}), LumenwhirlPackage::Error);
    EXPECT_TRUE(EventJournal::isBeingWritten(package.url()));
    showAt(1001, 0);
    controller.stop();
    const auto isWhole = [&] { return VideoReader(package.recordingURL()).info().duration > 0.7; };
    EXPECT_TRUE(isWhole());

    EXPECT_THROW((void)second.start(options(), "Take", folder.path(), {}), RecordingError);  // no frame arrives
    EXPECT_TRUE(isWhole());
    EXPECT_FALSE(PackageCompletion::recover(package));
}

TEST_F(RecordingControllerTest, logsPositionsInAWindowThatMovesAndGrows) {
    const LumenwhirlPackage package = begin();
    const auto moveTo = [&](double time, Point position) {
        screen.inputControls.deliver({.kind = InputEvent::Kind::moved, .time = time, .position = position});
    };
    moveTo(1000.5, {110, 60});
    screen.capture.deliver(Picture(320, 180, 0).frame(1000.6, {110, 60}));
    moveTo(1000.7, {110, 60});
    screen.capture.deliver(Picture(640, 180, 0).frame(1000.8, {110, 60}));  // shown at half its size
    moveTo(1000.9, {150, 70});
    controller.stop();
    const auto cursor = package.readEvents().cursor;
    ASSERT_EQ(cursor.size(), 3U);
    EXPECT_EQ((std::pair{cursor[1].x, cursor[1].y}), (std::pair{0.0, 0.0}));
    EXPECT_EQ((std::pair{cursor[2].x, cursor[2].y}), (std::pair{40.0, 10.0}));
}

/// Copies what a kill would leave on the disk of two seconds of frames, a voice and a moving cursor.
void RecordingControllerTest::killRecording(const LumenwhirlPackage& copy) {
    RecordingOptions how = options();
    how.captureMic = true;
    const LumenwhirlPackage package = begin(how);
    for (int i = 1; i <= 8; ++i) {
        showAt(beginning + 0.25 * i, static_cast<std::uint32_t>(0x1F1F1F * i));
        audio.mic.play(beginning + 0.25 * (i - 1), 0.25, 0.5F);
        screen.inputControls.deliver(
            {.kind = InputEvent::Kind::moved, .time = clock.now(), .position = {100.0 + i, 50}});
    }
    const auto hasAll = [&] {  // frames and audio reach the disk within a second
        fs::remove_all(copy.url());
        fs::copy(package.url(), copy.url());
        try {
            int frames = 0;
            VideoReader video(copy.recordingURL());
            while (video.next()) ++frames;
            return frames == 9 && peakBetween(copy.micURL(), 1.5, 1.9) > 0.4F;
        } catch (const MediaError&) {
            return false;
        }
    };
    for (int tries = 0; tries < 500 && !hasAll(); ++tries) SystemClock().sleep(0.02, {});
    ASSERT_TRUE(hasAll());
    controller.stop();
}

TEST_F(RecordingControllerTest, completesAKilledRecordingOnceHoweverManyOpenIt) {
    const LumenwhirlPackage copy(folder / "Copy.lumenwhirl");
    killRecording(copy);
    std::ofstream(copy.url() / ".lumenwhirl-abcdefghijkl") << "left by a process that was killed";
    std::vector<std::future<std::optional<PackageCompletion::Recovery>>> openings;
    for (int i = 0; i < 4; ++i)
        openings.push_back(std::async(std::launch::async, [&] { return PackageCompletion::recover(copy); }));
    int completions = 0;
    for (auto& opening : openings) {
        const auto recovery = opening.get();
        if (!recovery) continue;
        ++completions;
        EXPECT_EQ(recovery->microphoneFailure, std::nullopt);
        EXPECT_NEAR(recovery->duration, 2, 0.01);
    }
    EXPECT_EQ(completions, 1);
    EXPECT_EQ(copy.readEvents().cursor.size(), 8U);
    EXPECT_EQ(copy.readEvents().recording.startHostTime, beginning);
    EXPECT_EQ(copy.readProject().audio, (AudioInfo{.embedded = true, .hasMic = true, .hasSystem = false}));
    EXPECT_NEAR(copy.readProject().timeline.duration, 2, 0.01);
    EXPECT_GT(peakBetween(copy.recordingURL(), 1.5, 1.9), 0.4F);
    EXPECT_EQ(filesIn(copy.url()),
              (std::set<std::string>{"events.json", "mic.m4a", "project.json", "recording.mp4"}));
}

TEST_F(RecordingControllerTest, saysThatTheMicrophoneCannotBeJoinedWithTheVideo) {
    RecordingOptions how = options();
    how.captureMic = true;
    const LumenwhirlPackage package = begin(how);
    audio.mic.play(clock.now(), 1, 0.5F);
    showAt(clock.now() + 1, 0);
    fs::remove(package.micURL());
    std::ofstream(package.micURL(), std::ios::binary) << std::string(5000, 'x');
    controller.stop();
    ASSERT_EQ(controller.notices().size(), 1U);
    EXPECT_NE(controller.notices()[0].find("mic.m4a"), std::string::npos);
    EXPECT_EQ(package.readProject().audio, AudioInfo{});
}

TEST_F(RecordingControllerTest, saysThatARecordingWasKilledBeforeItsFirstFrame) {
    const LumenwhirlPackage package = LumenwhirlPackage::create("Early", folder.path());
    { const EventJournal journal(package.url(), {.fps = 60, .display = options().target.displayInfo()}); }
    try {
        (void)PackageCompletion::recover(package);
        FAIL();
    } catch (const LumenwhirlPackage::Error& error) {
        EXPECT_NE(std::string(error.what()).find("before anything could be saved"), std::string::npos);
    }
}

}  // namespace
}  // namespace lumenwhirl::test
