#include "Media/VideoReader.h"
#include "Recorder/ScreenRecorder.h"
#include "Tests/Recorder/ScriptedDesktop.h"
#include "Tests/Support/Files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <latch>
#include <memory>
#include <optional>
#include <utility>

namespace lumenwhirl::test {
namespace {

using AudioSource = ScreenRecorder::AudioSource;

class ScreenRecorderTest : public testing::Test {
protected:
    ScreenRecorder& makeRecorder(AudioSource source, std::function<void()> beforeFrame = {}) {
        RecordingFile::Settings settings{64, 64, VideoCodec::h264, EncoderChoice::software,
                                         std::move(beforeFrame)};
        recorder.emplace(std::make_unique<ScriptedCapture>(capture), source,
                         source == AudioSource::none ? nullptr : std::make_unique<ScriptedAudio>(audio),
                         std::make_unique<RecordingFile>(path, std::move(settings)), clock);
        recorder->start();
        return *recorder;
    }
    /// A complete frame taken 2 ms before it is handled.
    void showAt(double time) {
        clock.advanceTo(time);
        capture.deliver(picture.frame(time - 0.002));
    }
    void playAt(double time, double seconds = 0.01) {
        clock.advanceTo(time);
        audio.play(time - 0.01, seconds, 0.5F);
    }
    [[nodiscard]] bool hasAudioTrack() const { return VideoReader(path).info().hasAudio; }

    TemporaryFolder folder;
    std::filesystem::path path = folder / "recording.mp4";
    VirtualClock clock{100};
    ScriptedCapture::Controls capture;
    ScriptedAudio::Controls audio;
    Picture picture{64, 64, 0x336699};
    std::optional<ScreenRecorder> recorder;
};

TEST_F(ScreenRecorderTest, beginsWithTheFirstCompleteFrame) {
    ScreenRecorder& screen = makeRecorder(AudioSource::none);
    for (const FrameStatus status : {FrameStatus::started, FrameStatus::idle, FrameStatus::blank,
                                     FrameStatus::suspended, FrameStatus::stopped})
        capture.deliver({.status = status, .time = 100});
    EXPECT_EQ(screen.recordingStartHostTime(), 0);
    EXPECT_TRUE(folder.isEmpty());
    showAt(101);
    EXPECT_EQ(screen.recordingStartHostTime(), 101);  // when it was handled
    showAt(103);
    capture.deliver({.status = FrameStatus::idle, .time = 104});
    capture.onStop = [&] { showAt(109); };
    const auto result = screen.stop();
    EXPECT_EQ(result.startHostTime, 101);
    EXPECT_DOUBLE_EQ(result.duration, 8);  // up to the frame that is delivered while stopping
    EXPECT_FALSE(result.wroteAudio);
    EXPECT_FALSE(hasAudioTrack());
    VideoReader video(path);
    for (const double time : {0.0, 2.0, 8.0}) EXPECT_NEAR(video.next().value().time(), time, 1e-6);
    EXPECT_FALSE(video.next());
}

TEST_F(ScreenRecorderTest, waitsForTheFirstAudioButNotForLong) {
    ScreenRecorder& screen = makeRecorder(AudioSource::system);
    showAt(101);
    showAt(101.1);
    playAt(101.2);
    EXPECT_EQ(screen.audioLevel(), 0.5F);
    EXPECT_EQ(screen.recordingStartHostTime(), 0);
    showAt(101.3);
    EXPECT_EQ(screen.recordingStartHostTime(), 101.3);
    playAt(101.4);
    const auto result = screen.stop();
    EXPECT_TRUE(result.wroteAudio);
    EXPECT_EQ(result.audioSource, AudioSource::system);
    EXPECT_TRUE(hasAudioTrack());

    audio.format = {44100, 1};
    ScreenRecorder& silent = makeRecorder(AudioSource::mic);
    showAt(201);
    showAt(201.5);
    EXPECT_EQ(silent.recordingStartHostTime(), 0);
    showAt(201.625);  // more than 0.6 s after the first
    EXPECT_EQ(silent.recordingStartHostTime(), 201.625);
    playAt(202);  // too late: the file has no track for it
    EXPECT_FALSE(silent.stop().wroteAudio);
    EXPECT_FALSE(hasAudioTrack());

    audio.startFailure = "no such sink";
    ScreenRecorder& failed = makeRecorder(AudioSource::system);
    EXPECT_EQ(failed.audioFailure(), "no such sink");
    showAt(301);
    EXPECT_EQ(failed.recordingStartHostTime(), 301);
}

TEST_F(ScreenRecorderTest, countsOnlyWhatTheFileTook) {
    path = folder / "package/recording.mp4";
    std::latch isEncoding(1), mayGoOn(1);
    bool isFirst = true;
    ScreenRecorder& screen = makeRecorder(AudioSource::system, [&] {
        if (std::exchange(isFirst, false)) isEncoding.count_down();
        mayGoOn.wait();
    });
    playAt(100.5);
    showAt(101);
    EXPECT_EQ(screen.recordingStartHostTime(), 0);
    EXPECT_TRUE(screen.failure());
    std::filesystem::create_directory(folder / "package");
    showAt(101.5);  // the next frame tries again
    EXPECT_EQ(screen.recordingStartHostTime(), 101.5);
    EXPECT_FALSE(screen.failure());
    isEncoding.wait();
    for (int i = 1; i <= 20; ++i) showAt(101.5 + i);
    playAt(122, 11);  // more than may wait
    mayGoOn.count_down();
    const auto result = screen.stop();
    EXPECT_DOUBLE_EQ(result.duration, RecordingFile::queuedFrames);
    EXPECT_FALSE(result.wroteAudio);
}

}  // namespace
}  // namespace lumenwhirl::test
