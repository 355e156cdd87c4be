#include "Media/AudioReader.h"
#include "Recorder/Backends/Pulse/PulseAudioSystem.h"
#include "Recorder/Backends/Pulse/PulseStream.h"
#include "Recorder/MicRecorder.h"
#include "Recorder/Platform/HostClock.h"
#include "Recorder/Platform/PlatformError.h"
#include "Tests/Recorder/Pulse/AudioServer.h"
#include "Tests/Recorder/Pulse/Listener.h"
#include "Tests/Recorder/Pulse/TonePlayer.h"
#include "Tests/Support/Files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <random>

namespace lumenwhirl {
namespace {

// Seconds. What an output plays is right within 0.1 ms; the test's microphones do not tell the server of their 10
// ms.
constexpr double within = 0.03;

/// The kind and the text of what `work` throws.
template <class Work>
std::optional<PlatformError> failureOf(Work work) {
    try {
        work();
    } catch (const PlatformError& error) {
        return error;
    }
    return std::nullopt;
}

class Pulse : public testing::Test {
protected:
    AudioServer server;
    std::unique_ptr<AudioSystem> system = makePulseAudioSystem();
};

TEST_F(Pulse, listsWhatRecordsFromOutside) {
    const MicDevice mic{.id = "mic", .name = "Test Microphone"};
    const MicDevice stereo{.id = "stereo", .name = "Stereo Microphone"};
    EXPECT_EQ(system->inputs(), std::vector{mic});  // not what speakers and micfeed play
    EXPECT_EQ(system->defaultInputID(), "mic");

    server.addStereoMicrophone("stereo");
    EXPECT_EQ(system->inputs(), (std::vector{mic, stereo}));
    server.unplug("mic");
    EXPECT_EQ(system->defaultInputID(), "stereo");
    server.unplug("stereo");
    EXPECT_EQ(system->inputs(), std::vector<MicDevice>());
    EXPECT_EQ(system->defaultInputID(), std::nullopt);
}

TEST_F(Pulse, hearsATonePlayedIntoTheMicrophoneWhenItIsPlayed) {
    const auto stream = system->microphone("mic");
    EXPECT_EQ(stream->format(), (AudioFormat{.sampleRate = 48000, .channels = 1}));
    Listener listener(*stream);
    ASSERT_TRUE(listener.goesOn());
    TonePlayer player("micfeed", {.frequency = 440});
    const auto audio = listener.audio(1);
    ASSERT_FALSE(audio.empty());
    EXPECT_NEAR(audio.front().time, player.onset(), within);
    EXPECT_NEAR(frequencyOf(audio, 48000), 440, 0.5);
}

TEST_F(Pulse, mixesAStereoMicrophoneOfAnotherRateToOneChannel) {
    server.addStereoMicrophone("stereo");
    const auto stream = system->microphone("stereo");
    Listener listener(*stream);
    ASSERT_TRUE(listener.goesOn());
    TonePlayer player("stereofeed", {.frequency = 440});
    const auto audio = listener.audio(1);
    ASSERT_FALSE(audio.empty());
    EXPECT_NEAR(audio.front().time, player.onset(), within);
    EXPECT_NEAR(frequencyOf(audio, 48000), 440, 0.5);
}

TEST_F(Pulse, aStereoMicrophoneIsRecordedIntoAFileOfOneChannel) {
    server.addStereoMicrophone("stereo");
    const TemporaryFolder folder;
    const double start = SystemClock().now();
    MicRecorder recorder("stereo", folder / "mic.m4a", *system, start);
    ASSERT_TRUE(recorder.start()) << *recorder.failure();
    TonePlayer player("stereofeed", {.frequency = 440, .seconds = 1});
    player.waitUntilPlayed();
    recorder.finish();
    EXPECT_EQ(recorder.failure(), std::nullopt);

    AudioReader reader(folder / "mic.m4a");
    EXPECT_EQ(reader.channels(), 1);
    EXPECT_EQ(reader.sampleRate(), 48000);
    AudioBuffer audio;
    ASSERT_TRUE(reader.read(audio, 1'000'000));
    const std::vector<float>& samples = audio.channels[0];
    const auto first = std::ranges::find_if(samples, [](float sample) { return std::abs(sample) > 0.1F; });
    EXPECT_NEAR(static_cast<double>(first - samples.begin()) / 48000, player.onset() - start, within);
    EXPECT_NEAR(frequencyOf({{.samples = {first, first + 40'000}}}, 48000), 440, 0.5);
}

TEST_F(Pulse, hearsTheDefaultOutputWhicheverThatIs) {
    const auto stream = system->systemAudio();
    EXPECT_EQ(stream->format(), (AudioFormat{.sampleRate = 48000, .channels = 2}));
    Listener listener(*stream);
    ASSERT_TRUE(listener.goesOn());
    double end = 0;
    {
        TonePlayer player("speakers", {.frequency = 1000, .seconds = 1.5});
        const auto audio = listener.audio(1);
        ASSERT_FALSE(audio.empty());
        EXPECT_NEAR(audio.front().time, player.onset(), within);
        EXPECT_NEAR(frequencyOf(audio, 48000), 1000, 1);
        player.waitUntilPlayed();
        end = player.onset() + 1.5 + within;
    }
    server.addOutput("headphones");
    server.setDefaultOutput("headphones");
    {
        TonePlayer player("headphones", {.frequency = 500, .seconds = 20});
        const auto audio = listener.audio(1, end);
        ASSERT_FALSE(audio.empty());
        EXPECT_NEAR(frequencyOf({audio.begin() + 1, audio.end()}, 48000), 500, 1);
    }
}

TEST_F(Pulse, anUnpluggedOutputIsReplacedByTheNextNeverByTheMicrophone) {
    const auto stream = system->systemAudio();
    Listener listener(*stream);
    ASSERT_TRUE(listener.goesOn());
    server.unplug("micfeed");  // and mic with it
    server.addOutput("headphones");
    server.addStereoMicrophone("stereo");
    TonePlayer speech("stereofeed", {.frequency = 440, .seconds = 40});
    TonePlayer music("headphones", {.frequency = 500, .seconds = 40});
    server.setDefaultOutput("speakers");
    server.unplug("speakers");
    server.setDefaultOutput("headphones");
    const auto audio = listener.audio(1);
    ASSERT_FALSE(audio.empty());
    EXPECT_NEAR(frequencyOf(audio, 48000), 500, 1);
    EXPECT_FALSE(listener.hasEnded());
}

TEST_F(Pulse, outputsThatComeAndGoAtOnceEndNothing) {
    const auto stream = system->systemAudio();
    Listener listener(*stream);
    ASSERT_TRUE(listener.goesOn());
    for (int i = 0; i < 100; ++i) {
        server.addOutput("headphones");
        server.setDefaultOutput("headphones");
        server.unplug("headphones");
    }
    server.setDefaultOutput("speakers");
    TonePlayer player("speakers", {.frequency = 500, .seconds = 40});
    const auto audio = listener.audio(1);
    ASSERT_FALSE(audio.empty());
    EXPECT_NEAR(frequencyOf(audio, 48000), 500, 1);
    EXPECT_FALSE(listener.hasEnded());
}

TEST_F(Pulse, saysWhenAMicrophoneIsUnplugged) {
    const auto stream = system->microphone("mic");
    Listener listener(*stream);
    ASSERT_TRUE(listener.goesOn());
    server.unplug("mic");
    EXPECT_EQ(listener.reason(), "the microphone mic is gone (Entity killed)");
    stream->stop();
    stream->stop();
}

TEST_F(Pulse, saysWhenTheServerIsGone) {
    const auto microphone = system->microphone("mic"), music = system->systemAudio();
    const auto unstarted = system->microphone("mic");
    Listener listener(*microphone), other(*music);
    ASSERT_TRUE(listener.goesOn() && other.goesOn());
    server.kill();
    EXPECT_EQ(listener.reason(), "the audio server is gone (Connection terminated)");
    EXPECT_EQ(other.reason(), "the audio server is gone (Connection terminated)");
    const auto failure = failureOf([&] { Listener late(*unstarted); });
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->kind(), PlatformError::Kind::notReachable);

    for (const auto& ask : std::vector<std::function<void()>>{
             [&] { (void)system->inputs(); }, [&] { (void)system->defaultInputID(); },
             [&] { (void)system->microphone("mic"); }, [&] { (void)system->systemAudio(); }}) {
        const auto refusal = failureOf(ask);
        ASSERT_TRUE(refusal);
        EXPECT_EQ(refusal->kind(), PlatformError::Kind::notReachable);
        EXPECT_STREQ(
            refusal->what(),
            "no audio server answers (Connection refused); start PulseAudio or PipeWire, or record without "
            "audio");
    }
}

TEST_F(Pulse, saysWhatItCannotRecord) {
    for (const std::string name : {"unplugged", "no name at all", ""}) {
        const auto unknown = system->microphone(name);
        const auto failure = failureOf([&] { Listener listener(*unknown); });
        ASSERT_TRUE(failure);
        EXPECT_EQ(failure->kind(), PlatformError::Kind::notFound) << failure->what();
        EXPECT_EQ(failure->what(), "no microphone named \"" + name + "\"; choose another one");
        unknown->stop();
    }

    server.unplug("micfeed");
    server.unplug("speakers");
    const auto music = system->systemAudio();
    const auto silence = failureOf([&] { Listener listener(*music); });
    ASSERT_TRUE(silence);
    EXPECT_EQ(silence->kind(), PlatformError::Kind::notFound);
}

/// Measurements every 0.1 s that wobble by up to 20 ms, of a device whose clock is slow by 300 parts in a million.
TEST(SampleClock, steadiesTimesAndFollowsTheDevice) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> wobble(-0.02, 0.02);
    SampleClock clock(48000);
    for (int i = 0; i < 6000; ++i) {  // ten minutes
        const double truth = 100 + i * 0.1 * (1 + 300e-6);
        EXPECT_TRUE(clock.measure(truth + wobble(random), i * 4800));
        if (i > 20) {
            EXPECT_NEAR(clock.timeOf(static_cast<std::uint64_t>(i) * 4800), truth, 0.007);
        }
    }
}

TEST(SampleClock, followsALeapButNoStray) {
    SampleClock clock(48000);
    EXPECT_FALSE(clock.isSet());
    for (int i = 0; i < 50; ++i) EXPECT_TRUE(clock.measure(10 + i * 0.1, i * 4800));
    EXPECT_NEAR(clock.timeOf(48000), 11, 1e-9);
    EXPECT_FALSE(clock.measure(15 + 0.3, 240'000));
    EXPECT_TRUE(clock.measure(15, 240'000));
    EXPECT_NEAR(clock.timeOf(48000), 11, 1e-9);
    // Sound of a second was lost, and nothing said so.
    EXPECT_FALSE(clock.measure(17, 288'000));
    EXPECT_FALSE(clock.measure(17, 288'000));
    EXPECT_NEAR(clock.timeOf(288'000), 16, 1e-9);
    EXPECT_TRUE(clock.measure(17, 288'000));
    EXPECT_NEAR(clock.timeOf(288'000), 17, 1e-9);
}

}  // namespace
}  // namespace lumenwhirl
