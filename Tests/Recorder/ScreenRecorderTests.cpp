#include "Recorder/Platform/PlatformError.h"
#include "Recorder/ScreenRecorder.h"
#include "Tests/Recorder/ScriptedDesktop.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <vector>

namespace lumenwhirl::test {
namespace {

using AudioSource = ScreenRecorder::AudioSource;

/// Notes what it is given.
struct FileNotes {
    bool canBegin = true, isBusy = false;
    int begins = 0;
    double startTime = 0;
    std::optional<AudioFormat> audio;
    std::vector<double> frames, blocks;
    std::optional<double> finishedWithin;
    std::optional<std::string> failure;
};

class NotingFile final : public RecordingFile {
public:
    explicit NotingFile(FileNotes& notes) : notes_(notes) {}
    bool begin(double startTime, const std::optional<AudioFormat>& audio) override {
        ++notes_.begins;
        notes_.startTime = startTime;
        notes_.audio = audio;
        return notes_.canBegin;
    }
    bool appendVideo(const CapturedFrame& frame) override {
        if (!notes_.isBusy) notes_.frames.push_back(frame.time);
        return !notes_.isBusy;
    }
    bool appendAudio(const AudioBlock& block) override {
        if (!notes_.isBusy) notes_.blocks.push_back(block.time);
        return !notes_.isBusy;
    }
    void finish(double seconds) override { notes_.finishedWithin = seconds; }
    [[nodiscard]] Progress progress() const override { return {}; }
    [[nodiscard]] std::optional<std::string> failure() const override { return notes_.failure; }

private:
    FileNotes& notes_;
};

class ScreenRecorderTest : public testing::Test {
protected:
    ScreenRecorder& makeRecorder(AudioSource source) {
        recorder.emplace(std::make_unique<ScriptedCapture>(capture), source,
                         source == AudioSource::none ? nullptr : std::make_unique<ScriptedAudio>(audio),
                         std::make_unique<NotingFile>(file), clock);
        recorder->start();
        return *recorder;
    }
    /// A complete frame taken 2 ms before it is handled.
    void showAt(double time) {
        clock.advanceTo(time);
        capture.deliver(picture.frame(time - 0.002));
    }
    void playAt(double time) {
        clock.advanceTo(time);
        audio.play(time - 0.01, 0.01, 0.5F);
    }

    VirtualClock clock{100};
    ScriptedCapture::Controls capture;
    ScriptedAudio::Controls audio;
    FileNotes file;
    Picture picture{64, 64, 0x336699};
    std::optional<ScreenRecorder> recorder;
};

TEST_F(ScreenRecorderTest, beginsWithTheFirstCompleteFrameWhereNoAudioIsAsked) {
    ScreenRecorder& screen = makeRecorder(AudioSource::none);
    for (const FrameStatus status : {FrameStatus::started, FrameStatus::idle, FrameStatus::blank,
                                     FrameStatus::suspended, FrameStatus::stopped})
        capture.deliver({.status = status, .time = 100});
    EXPECT_EQ(file.begins, 0);
    EXPECT_EQ(screen.recordingStartHostTime(), 0);
    showAt(101);
    EXPECT_EQ(screen.recordingStartHostTime(), 101);  // when it was handled
    EXPECT_EQ(file.startTime, 100.998);               // when it was taken
    EXPECT_FALSE(file.audio);
    showAt(103);
    capture.deliver({.status = FrameStatus::idle, .time = 104});
    const auto result = screen.stop();
    EXPECT_EQ(result.startHostTime, 101);
    EXPECT_DOUBLE_EQ(result.duration, 2);  // from the first to the last written frame
    EXPECT_FALSE(result.wroteAudio);
    EXPECT_EQ(file.finishedWithin, 5.0);
    EXPECT_EQ(screen.stop(), result);
}

TEST_F(ScreenRecorderTest, waitsForTheFirstAudioButNotForLong) {
    ScreenRecorder& screen = makeRecorder(AudioSource::system);
    showAt(101);
    showAt(101.1);
    EXPECT_EQ(file.begins, 0);
    playAt(101.2);  // only tells that there is sound
    EXPECT_TRUE(file.blocks.empty());
    showAt(101.3);
    EXPECT_EQ(screen.recordingStartHostTime(), 101.3);
    EXPECT_EQ(file.audio, (AudioFormat{48000, 2}));
    playAt(101.4);
    EXPECT_EQ(file.blocks.size(), 1U);
    const auto result = screen.stop();
    EXPECT_TRUE(result.wroteAudio);
    EXPECT_EQ(result.audioSource, AudioSource::system);

    file = {};
    capture = {};
    audio.format = {44100, 1};
    ScreenRecorder& silent = makeRecorder(AudioSource::mic);
    showAt(201);
    showAt(201.5);
    EXPECT_EQ(file.begins, 0);
    showAt(201.625);  // more than 0.6 s after the first
    EXPECT_EQ(silent.recordingStartHostTime(), 201.625);
    EXPECT_FALSE(file.audio);
    playAt(202);  // too late: the file has no track for it
    EXPECT_TRUE(file.blocks.empty());
    EXPECT_FALSE(silent.stop().wroteAudio);
}

TEST_F(ScreenRecorderTest, countsOnlyWhatTheFileTook) {
    ScreenRecorder& screen = makeRecorder(AudioSource::system);
    playAt(100.5);
    file.canBegin = false;
    showAt(101);
    EXPECT_EQ(screen.recordingStartHostTime(), 0);
    file.canBegin = true;  // the next frame tries again
    showAt(101.5);
    EXPECT_EQ(file.begins, 2);
    showAt(102);
    file.isBusy = true;
    showAt(103);
    playAt(103);
    const auto result = screen.stop();
    EXPECT_DOUBLE_EQ(result.duration, 0.5);
    EXPECT_FALSE(result.wroteAudio);
}

TEST_F(ScreenRecorderTest, takesTheFrameThatIsDeliveredWhileStopping) {
    ScreenRecorder& screen = makeRecorder(AudioSource::none);
    showAt(101);
    capture.onStop = [&] { showAt(109); };
    EXPECT_DOUBLE_EQ(screen.stop().duration, 8);
}

TEST_F(ScreenRecorderTest, stopsWithoutAFrame) {
    const auto result = makeRecorder(AudioSource::none).stop();
    EXPECT_EQ(result, ScreenRecorder::Result{});
}

TEST_F(ScreenRecorderTest, tellsWhereAWindowGoesAndWhyTheCaptureEnded) {
    ScreenRecorder& screen = makeRecorder(AudioSource::none);
    showAt(101);
    std::vector<ScreenRecorder::Area> areas;
    screen.onAreaChange([&](const ScreenRecorder::Area& area) { areas.push_back(area); });
    capture.deliver(picture.frame(102, {}));  // the same
    capture.deliver(picture.frame(103, {5, 7}));
    capture.deliver(Picture(80, 40, 0).frame(104, {5, 7}));
    screen.onAreaChange(nullptr);
    capture.deliver(picture.frame(105));
    EXPECT_EQ(areas, (std::vector<ScreenRecorder::Area>{{{0, 0}, 64, 64}, {{5, 7}, 64, 64}, {{5, 7}, 80, 40}}));

    EXPECT_FALSE(screen.endReason());
    file.failure = "the disk is full";
    EXPECT_EQ(screen.failure(), "the disk is full");
    EXPECT_FALSE(screen.endReason());
    capture.end("the window was closed");
    EXPECT_EQ(screen.endReason(), "the window was closed");
}

TEST_F(ScreenRecorderTest, passesOnWhyItCannotStart) {
    capture.startFailure = "no such window";
    EXPECT_THROW(makeRecorder(AudioSource::none), PlatformError);
}

TEST_F(ScreenRecorderTest, doesNotWaitForAudioThatCannotCome) {
    audio.startFailure = "no such sink";
    ScreenRecorder& screen = makeRecorder(AudioSource::system);
    EXPECT_EQ(screen.audioFailure(), "no such sink");
    showAt(101);
    EXPECT_EQ(screen.recordingStartHostTime(), 101);
    EXPECT_FALSE(file.audio);
}

TEST_F(ScreenRecorderTest, tellsTheLoudnessOfTheLatestAudio) {
    ScreenRecorder& screen = makeRecorder(AudioSource::system);
    audio.play(100, 0.01, -0.25F);
    EXPECT_EQ(screen.audioLevel(), 0.25F);
}

}  // namespace
}  // namespace lumenwhirl::test
