#include "Tests/EndToEnd/RecordTest.h"
#include "Tests/Recorder/Pulse/AudioServer.h"
#include "Tests/Recorder/Pulse/TonePlayer.h"
#include "Tests/Support/Audio.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace lumenwhirl::test {
namespace {

namespace fs = std::filesystem;

/// The time at which a file's audio first exceeds a tenth of full scale, and its frequency from then on.
struct HeardTone {
    double onset = 0, frequency = 0;  // seconds, Hz
};
std::optional<HeardTone> toneIn(const fs::path& file) {
    const std::vector<float> audio = readAll(file).channels.front();
    const auto onset =
        std::find_if(audio.begin(), audio.end(), [](float sample) { return std::abs(sample) > 0.1F; });
    constexpr std::ptrdiff_t sampleRate = 48000, half = sampleRate / 2;
    if (audio.end() - onset <= half) return std::nullopt;
    return HeardTone{static_cast<double>(onset - audio.begin()) / sampleRate,
                     signals::frequencyOf({onset, onset + half})};
}

/// Records with an audio server of its own.
class AudioRecordTest : public RecordTest {
protected:
    AudioRecordTest() { hasAudio = true; }
    [[nodiscard]] Program::Surroundings surroundings() const override {
        Program::Surroundings all = RecordTest::surroundings();
        all.environment.erase("PULSE_SERVER");  // this process's own, which is set to `server`
        return all;
    }
    void recordToneAndFlash(const std::string& output, const Program::Arguments& more) {
        SCOPED_TRACE(output);
        fs::remove_all(package.url());
        TestWindow window(user, {.x = 0, .y = 0, .width = 200, .height = 200, .color = 0});
        record(more);
        TonePlayer player(output, {.frequency = 1000, .seconds = 1, .amplitude = 0.5});
        const double heard = player.onset(), beforeFlash = clock.now();
        window.fill(0xFFFFFF);
        user.finish();
        const double afterFlash = clock.now();
        player.waitUntilPlayed();
        stop();
        const auto flash = firstFrame(framesOf(package.recordingURL()),
                                      [](const Picture& frame) { return lumaAt(frame, 100, 100) > 200; });
        const auto tone = toneIn(package.recordingURL());
        ASSERT_TRUE(flash && tone);
        EXPECT_NEAR(tone->frequency, 1000, 10);
        // When the file begins by the host clock: exactly by its audio, within two frames by its picture.
        constexpr double tolerance = 0.03;
        const double beginning = heard - tone->onset;
        EXPECT_GE(beginning, beforeFlash - flash->time - tolerance);
        EXPECT_LE(beginning, afterFlash - flash->before + tolerance);
    }

    AudioServer server;
};

TEST_F(AudioRecordTest, audioIsInStepWithThePicture) {
    recordToneAndFlash("speakers", {});
    EXPECT_EQ(package.readProject().audio, (AudioInfo{.embedded = true, .hasMic = false, .hasSystem = true}));
    recordToneAndFlash("micfeed", {"--mic"});
    EXPECT_EQ(package.readProject().audio, (AudioInfo{.embedded = true, .hasMic = true, .hasSystem = false}));
    recordToneAndFlash("micfeed", {"--mic", "no-such-device"});  // falls back to the default one
    const Json listed(run({"microphones"}).output);
    ASSERT_EQ(listed.count(""), 1U);
    EXPECT_EQ(listed.text("/0/id"), "mic");
    EXPECT_TRUE(listed.truth("/0/isDefault"));
}

TEST_F(AudioRecordTest, aMicrophoneReplacesTheComputersAudio) {
    record({"--mic", "mic"});
    TonePlayer player("speakers", {.frequency = 1000, .seconds = 0.7, .amplitude = 0.5});
    player.waitUntilPlayed();
    stop();
    EXPECT_TRUE(VideoReader(package.recordingURL()).info().hasAudio);
    EXPECT_FALSE(toneIn(package.recordingURL()));
}

TEST_F(AudioRecordTest, continuesWhenTheAudioEnds) {
    record({"--mic", "--seconds", "2"});
    server.unplug("mic");
    EXPECT_NE(program->wait().errors.find("continues without audio: "), std::string::npos);
    server.unplug("micfeed");
    server.unplug("speakers");
    fs::remove_all(package.url());
    record();
    EXPECT_NE(stop().errors.find("continues without audio: "), std::string::npos);
}

}  // namespace
}  // namespace lumenwhirl::test
