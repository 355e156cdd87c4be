#include "Media/VideoReader.h"
#include "Recorder/ScreenRecorder.h"
#include "Tests/Recorder/ScriptedDesktop.h"
#include "Tests/Support/Files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <latch>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

namespace lumenwhirl::test {
namespace {

class ScreenRecorderTest : public testing::Test {
protected:
    ScreenRecorder& makeRecorder(std::function<void()> beforeFrame = {}) {
        RecordingFile::Settings settings{64, 64, VideoCodec::h264, EncoderChoice::software,
                                         std::move(beforeFrame)};
        recorder.emplace(std::make_unique<ScriptedCapture>(capture), ScreenRecorder::AudioSource::system,
                         std::make_unique<ScriptedAudio>(audio),
                         std::make_unique<RecordingFile>(path, std::move(settings)), clock);
        recorder->start();
        return *recorder;
    }
    void showAt(double time) {
        clock.advanceTo(time);
        capture.deliver(picture.frame(time));
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

TEST_F(ScreenRecorderTest, waitsForTheFirstAudioButNotForLong) {
    ScreenRecorder& screen = makeRecorder();
    showAt(101);
    showAt(101.1);
    playAt(101.2);
    EXPECT_EQ(screen.audioLevel(), 0.5F);
    EXPECT_EQ(screen.recordingStartHostTime(), 0);
    showAt(101.3);
    EXPECT_EQ(screen.recordingStartHostTime(), 101.3);
    playAt(101.4);
    using Limits = std::numeric_limits<float>;
    for (const float value : {Limits::quiet_NaN(), Limits::max(), -Limits::infinity()})
        audio.play(101.4, 0.1, value);
    EXPECT_EQ(screen.audioLevel(), 1);
    EXPECT_TRUE(screen.stop().wroteAudio);
    EXPECT_EQ(screen.audioFailure(), std::nullopt);
    EXPECT_EQ(screen.failure(), std::nullopt);
    EXPECT_TRUE(hasAudioTrack());

    std::filesystem::remove(path);
    audio.format = {44100, 1};
    ScreenRecorder& silent = makeRecorder();
    showAt(201);
    showAt(201.5);
    EXPECT_EQ(silent.recordingStartHostTime(), 0);
    showAt(201.625);  // more than 0.6 s after the first
    EXPECT_EQ(silent.recordingStartHostTime(), 201.625);
    playAt(202);  // too late: the file has no track for it
    EXPECT_EQ(silent.audioFailure(), "no audio has come in time");
    EXPECT_FALSE(silent.stop().wroteAudio);
    EXPECT_FALSE(hasAudioTrack());
}

TEST_F(ScreenRecorderTest, countsOnlyWhatTheFileTook) {
    path = folder / "package/recording.mp4";
    std::latch isEncoding(1), mayGoOn(1);
    bool isFirst = true;
    ScreenRecorder& screen = makeRecorder([&] {
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
