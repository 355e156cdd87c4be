#include "Files/Descriptor.h"
#include "Media/AudioReader.h"
#include "Media/MediaError.h"
#include "Media/VideoReader.h"
#include "Recorder/Package/EventJournal.h"
#include "Recorder/PackageCompletion.h"
#include "Recorder/Platform/PlatformError.h"
#include "Recorder/RecordingController.h"
#include "Tests/Recorder/ScriptedDesktop.h"
#include "Tests/Support/Files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <future>
#include <set>
#include <thread>

namespace lumenwhirl::test {
namespace {

namespace fs = std::filesystem;

constexpr double beginning = 1000.25;   // of the first frame, host clock
constexpr double handling = 1.0 / 512;  // seconds from the taking of a frame to its handling

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

class RecordingControllerTest : public testing::Test {
protected:
    RecordingControllerTest() {
        audio.devices = {{"mic", "Microphone"}};
        audio.defaultID = "mic";
    }

    [[nodiscard]] static RecordingOptions options() {
        return {.target =
                    CaptureDisplay{
                        .id = 1, .width = 320, .height = 180, .displayInfo = {1, 320, 180, 160, 90, 2, 100, 50}},
                .encoder = EncoderChoice::software};
    }
    /// The first frame comes after a quarter of a second.
    LumenwhirlPackage begin(const RecordingOptions& how = options()) {
        clock.at(clock.now() + 0.25, [this] { show(0x102030); });
        return controller.start(how, "Take " + std::to_string(++takes), folder.path(), stop.get_token());
    }
    void show(std::uint32_t color) {
        screen.capture.deliver(Picture(320, 180, color).frame(clock.now() - handling, {100, 50}));
    }
    void showAt(double time, std::uint32_t color) {
        clock.advanceTo(time + handling);
        show(color);
    }

    TemporaryFolder folder;
    VirtualClock clock{beginning - 0.25 + handling};
    ScriptedScreen screen;
    ScriptedAudioSystem audio;
    RecordingController controller{screen, audio, clock};
    std::stop_source stop;
    int takes = 0;
};

TEST_F(RecordingControllerTest, leavesAWholePackage) {
    const LumenwhirlPackage package = begin();
    EXPECT_EQ(controller.state(), RecordingController::State::recording);
    EXPECT_TRUE(EventJournal::isBeingWritten(package.url()));
    EXPECT_EQ(prctl(PR_GET_DUMPABLE), 0);                                               // keys are in memory
    EXPECT_THROW((void)PackageCompletion::recover(package), LumenwhirlPackage::Error);  // it is still running

    // Global points; the display has two pixels a point and begins at 100, 50.
    const auto& input = screen.inputControls.deliver;
    using Kind = InputEvent::Kind;
    input({Kind::moved, 1000.5, {110, 60}});
    input({Kind::buttonChanged, 1000.75, {90, 60}, MouseButton::right, ClickPhase::up});
    input({.kind = Kind::scrolled, .time = 1001, .position = {110, 60}, .dx = 0, .dy = -1});
    constexpr Modifiers held{.command = true, .shift = true};
    input({.kind = Kind::keyDown, .time = 1001.25, .keyCode = 1, .characters = "s", .modifiers = held});
    // The key that stops the recording is not part of it.
    input({.kind = Kind::keyDown, .time = 1001.5, .keyCode = 19, .characters = "2", .modifiers = held});
    showAt(1001.25, 0xF0F0F0);
    screen.capture.deliver({.status = FrameStatus::idle, .time = 1001.5});
    screen.capture.onStop = [&] { showAt(1002.25, 0xF0F0F0); };
    EXPECT_EQ(controller.stop().url(), package.url());
    EXPECT_EQ(controller.state(), RecordingController::State::idle);
    EXPECT_EQ(prctl(PR_GET_DUMPABLE), 1);

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
    EXPECT_EQ(package.readProject(), project);

    VideoReader video(package.recordingURL());
    for (const double time : {0.0, 1.0, 2.0}) EXPECT_NEAR(video.next().value().time(), time, 1e-6);
    EXPECT_FALSE(video.next());
    EXPECT_EQ(namesIn(package.url()), (std::set<std::string>{"events.json", "project.json", "recording.mp4"}));
    EXPECT_FALSE(PackageCompletion::recover(package));
    for (const auto& entry : fs::directory_iterator(package.url()))
        EXPECT_EQ(fs::status(entry).permissions(), fs::perms::owner_read | fs::perms::owner_write) << entry;
    EXPECT_EQ(fs::status(package.url()).permissions(), fs::perms::owner_all);
    EXPECT_THROW(controller.stop(), RecordingError);
}

TEST_F(RecordingControllerTest, doesWithoutWhatIsNotAvailable) {
    RecordingOptions how = options();
    const auto expectSilence = [&](std::size_t notices, const std::optional<std::string>& audioFailure) {
        const LumenwhirlPackage package = begin(how);
        EXPECT_EQ(controller.notices().size(), notices);
        EXPECT_EQ(controller.audioFailure(), audioFailure);
        controller.stop();
        EXPECT_EQ(package.readProject().audio, AudioInfo{});
        EXPECT_TRUE(package.readEvents().cursor.empty());
    };
    how.captureMic = true;
    audio.isReachable = false;
    screen.inputControls.startFailure = "this server does not record";
    expectSilence(2, std::nullopt);

    how.captureMic = false;
    how.captureSystemAudio = true;
    screen.canListen = false;
    expectSilence(2, std::nullopt);

    audio.isReachable = true;
    audio.system.startFailure = "there is no audio output";
    expectSilence(1, audio.system.startFailure);

    how.captureMic = true;  // which then delivers nothing
    expectSilence(1, std::nullopt);

    screen.canListen = true;
    screen.inputControls.startFailure.clear();
    how.micDeviceID = "headset";  // the default one stands in for it
    expectSilence(1, std::nullopt);
}

/// For the thread sanitizer above all.
TEST_F(RecordingControllerTest, canBeAskedByAnotherThreadWhileItBeginsAndEnds) {
    std::atomic<bool> isWell = true;
    const std::jthread asking([&](const std::stop_token& end) {
        while (!end.stop_requested())
            if (controller.failure() || controller.endReason() || controller.audioFailure() ||
                controller.progress().seconds < 0)
                isWell = false;
    });
    for (int i = 0; i < 3; ++i) {
        (void)begin();
        EXPECT_EQ(controller.state(), RecordingController::State::recording);
        (void)controller.stop();
    }
    EXPECT_TRUE(isWell);
}

TEST_F(RecordingControllerTest, isIdleOnceThePackageIsWholeAndStopsOnce) {
    const LumenwhirlPackage package = begin();
    const auto stopped = [this] {
        try {
            (void)controller.stop();
            return 1;
        } catch (const RecordingError&) {
            return 0;
        }
    };
    auto first = std::async(std::launch::async, stopped), second = std::async(std::launch::async, stopped);
    while (controller.state() != RecordingController::State::idle) std::this_thread::yield();
    EXPECT_FALSE(fs::exists(package.url() / EventJournal::fileName));
    EXPECT_EQ(first.get() + second.get(), 1);
}

TEST_F(RecordingControllerTest, reportsThatTheAudioHasEndedAndGoesOn) {
    RecordingOptions how = options();
    how.captureSystemAudio = true;
    for (const bool mic : {false, true}) {
        how.captureMic = mic;
        ScriptedAudio::Controls& device = mic ? audio.mic : audio.system;
        const double start = clock.now();
        if (!mic) clock.at(start + 0.2, [&] { device.play(start + 0.19, 0.01, 0); });
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
    const auto problem = [&]() -> std::optional<RecordingError::Kind> {
        try {
            (void)controller.start(options(), "Take", folder.path(), stop.get_token());
        } catch (const RecordingError& error) {
            EXPECT_TRUE(folder.isEmpty());
            return error.kind();
        }
        return std::nullopt;
    };
    for (const FrameStatus status : {FrameStatus::started, FrameStatus::idle, FrameStatus::blank,
                                     FrameStatus::suspended, FrameStatus::stopped})
        clock.at(1000.2, [this, status] { screen.capture.deliver({.status = status, .time = 1000.2}); });
    EXPECT_EQ(problem(), RecordingError::Kind::noFrames);
    EXPECT_NEAR(clock.now(), 1002, 0.03);

    screen.capture.startFailure = "there is no such window";
    EXPECT_THROW((void)problem(), PlatformError);
    EXPECT_TRUE(folder.isEmpty());
    screen.capture.startFailure.clear();
    screen.inputControls.hasThreads = false;
    clock.at(clock.now() + 0.25, [this] { show(0); });
    EXPECT_THROW((void)problem(), std::system_error);
    EXPECT_TRUE(folder.isEmpty());
    stop.request_stop();
    EXPECT_EQ(problem(), RecordingError::Kind::cancelled);
    EXPECT_EQ(controller.state(), RecordingController::State::idle);
}

TEST_F(RecordingControllerTest, leavesAnotherRecordingAloneWhenItCannotBegin) {
    const LumenwhirlPackage package = begin();
    RecordingController second(screen, audio, clock);
    EXPECT_THROW((void)second.start(options(), "Take 1", folder.path(), {}), RecordingError);
    EXPECT_TRUE(EventJournal::isBeingWritten(package.url()));
    EXPECT_EQ(EventJournal::read(package.url()).value().recording.startHostTime, beginning);
    showAt(1001, 0);
    controller.stop();
    EXPECT_GT(VideoReader(package.recordingURL()).info().duration, 0.7);
}

TEST_F(RecordingControllerTest, logsPositionsInAWindowThatMovesAndGrows) {
    const LumenwhirlPackage package = begin();
    const auto moveTo = [&](double time, Point position) {
        screen.inputControls.deliver({.time = time, .position = position});
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

TEST_F(RecordingControllerTest, completesAKilledRecordingOnceHoweverManyOpenIt) {
    const LumenwhirlPackage copy(folder / "Copy.lumenwhirl");  // what a kill would leave on the disk
    RecordingOptions how = options();
    how.captureMic = true;
    const LumenwhirlPackage package = begin(how);
    for (int i = 1; i <= 8; ++i) {
        showAt(beginning + 0.25 * i, static_cast<std::uint32_t>(0x1F1F1F * i));
        audio.mic.play(beginning + 0.25 * (i - 1), 0.25, 0.5F);
        screen.inputControls.deliver({.time = clock.now(), .position = {100.0 + i, 50}});
    }
    // Too soon after the ones before to make the files grow by themselves; nothing follows.
    audio.mic.play(beginning + 2, 0.25, 0.5F);
    showAt(beginning + 2.1, 0);
    const auto hasAll = [&] {
        fs::remove_all(copy.url());
        fs::copy(package.url(), copy.url());
        try {
            int frames = 0;
            VideoReader video(copy.recordingURL());
            while (video.next()) ++frames;
            return frames == 10 && controller.progress().file.bytes == fs::file_size(copy.recordingURL()) &&
                   peakBetween(copy.micURL(), 2.05, 2.15) > 0.4F;
        } catch (const MediaError&) {
            return false;
        }
    };
    for (int tries = 0; tries < 500 && !hasAll(); ++tries) SystemClock().sleep(0.02, {});
    ASSERT_TRUE(hasAll());
    controller.stop();

    const LumenwhirlPackage lost(folder / "Lost.lumenwhirl");  // its journal never reached the disk
    fs::copy(copy.url(), lost.url());
    writeFile(lost.url() / EventJournal::fileName, "");
    EXPECT_NEAR(PackageCompletion::recover(lost).value().duration, 2.1, 0.01);
    EXPECT_EQ(lost.readEvents().recording.display.pixelWidth, 320);
    lost.writeEvents({.recording = {.display = {.pixelWidth = 320}}, .clicks = {{.t = 1}}});
    writeFile(lost.url() / EventJournal::fileName, "");
    EXPECT_TRUE(PackageCompletion::recover(lost));
    EXPECT_EQ(lost.readEvents().clicks.size(), 1U) << "they had been written";

    writeFile(copy.url() / ".lumenwhirl-abcdefghijkl", "left by a process that was killed");
    std::vector<std::future<std::optional<PackageCompletion::Recovery>>> openings;
    for (int i = 0; i < 4; ++i)
        openings.push_back(std::async(std::launch::async, [&] { return PackageCompletion::recover(copy); }));
    int completions = 0;
    for (auto& opening : openings) {
        const auto recovery = opening.get();
        if (!recovery) continue;
        ++completions;
        EXPECT_EQ(recovery->microphoneFailure, std::nullopt);
        EXPECT_NEAR(recovery->duration, 2.1, 0.01);
    }
    EXPECT_EQ(completions, 1);
    EXPECT_EQ(copy.readEvents().cursor.size(), 8U);
    EXPECT_EQ(copy.readEvents().recording.startHostTime, beginning);
    EXPECT_EQ(copy.readProject().audio, (AudioInfo{.embedded = true, .hasMic = true, .hasSystem = false}));
    EXPECT_NEAR(copy.readProject().timeline.duration, 2.1, 0.01);
    EXPECT_GT(peakBetween(copy.recordingURL(), 1.5, 1.9), 0.4F);
    EXPECT_EQ(namesIn(copy.url()),
              (std::set<std::string>{"events.json", "mic.m4a", "project.json", "recording.mp4"}));
}

TEST_F(RecordingControllerTest, saysThatTheMicrophoneCannotBeJoinedWithTheVideo) {
    RecordingOptions how = options();
    how.captureMic = true;
    const LumenwhirlPackage package = begin(how);
    audio.mic.play(clock.now(), 1, 0.5F);
    showAt(clock.now() + 1, 0);
    fs::remove(package.micURL());
    writeFile(package.micURL(), std::string(5000, 'x'));
    controller.stop();
    ASSERT_EQ(controller.notices().size(), 1U);
    EXPECT_NE(controller.notices()[0].find("mic.m4a"), std::string::npos);
    EXPECT_EQ(package.readProject().audio, AudioInfo{});
}

TEST_F(RecordingControllerTest, saysWhyAKilledRecordingCannotBeCompleted) {
    const LumenwhirlPackage package = LumenwhirlPackage::create("Early", folder.path());
    { const EventJournal journal(package.url(), {.fps = 60, .display = options().target.displayInfo()}); }
    const auto expectProblem = [&](const std::string& words) {
        try {
            (void)PackageCompletion::recover(package);
            ADD_FAILURE() << "it was completed";
        } catch (const LumenwhirlPackage::Error& error) {
            EXPECT_NE(std::string(error.what()).find(words), std::string::npos) << error.what();
        }
    };
    expectProblem("before anything could be saved");
    const Descriptor holder(::open(package.url().c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(::flock(holder.get(), LOCK_EX), 0);
    expectProblem("(process " + std::to_string(::getpid()) + ")");
}

}  // namespace
}  // namespace lumenwhirl::test
