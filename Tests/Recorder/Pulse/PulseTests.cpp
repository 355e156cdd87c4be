#include "Recorder/Backends/Pulse/PulseAudioSystem.h"
#include "Recorder/Backends/Pulse/PulseStream.h"
#include "Tests/Recorder/Pulse/AudioServer.h"
#include "Tests/Recorder/Pulse/TonePlayer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <random>
#include <vector>

namespace lumenwhirl {
namespace {

// Seconds. What an output plays is right within 0.1 ms; the test's microphones do not report their latency of 10
// ms.
constexpr double tolerance = 0.03;

/// A running stream and all that it has delivered.
class Listener {
public:
    struct Audio {
        double time = 0;             // of the first sample
        std::vector<float> samples;  // of the first channel
    };

    explicit Listener(AudioStream& stream) : stream_(stream) {
        const auto channels = static_cast<std::size_t>(stream.format().channels);
        stream_.start(
            [this, channels](const AudioBlock& block) {
                const std::lock_guard lock(mutex_);
                Audio& copy = blocks_.emplace_back(Audio{.time = block.time, .samples = {}});
                for (std::size_t i = 0; i < block.frames; ++i) copy.samples.push_back(block.samples[i * channels]);
                changed_.notify_all();
            },
            [this](const std::string& reason) {
                const std::lock_guard lock(mutex_);
                reason_ = reason;
                changed_.notify_all();
            });
        EXPECT_TRUE(waitUntil([&] { return !blocks_.empty(); }));
    }
    ~Listener() { stream_.stop(); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    /// Waits for a second of audio from the first loud sample after that time on. Empty if there is none within 30
    /// s.
    [[nodiscard]] Audio loudAudio(double after = 0) {
        Audio loud;
        const auto second = static_cast<std::size_t>(stream_.format().sampleRate);
        if (!waitUntil([&] { return (loud = loudAfter(after)).samples.size() >= second; })) return {};
        return loud;
    }
    /// Why the stream has ended; waits for it for at most 30 s.
    [[nodiscard]] std::optional<std::string> reason() {
        waitUntil([&] { return reason_.has_value(); });
        const std::lock_guard lock(mutex_);
        return reason_;
    }
    [[nodiscard]] bool hasEnded() {
        const std::lock_guard lock(mutex_);
        return reason_.has_value();
    }

private:
    bool waitUntil(const std::function<bool()>& isDone) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(30), isDone);
    }
    [[nodiscard]] Audio loudAfter(double after) const {
        Audio loud;
        for (const Audio& block : blocks_) {
            auto first = block.samples.begin();
            if (loud.samples.empty()) {
                if (block.time < after) continue;
                first = std::ranges::find_if(block.samples, [](float sample) { return std::abs(sample) > 0.05F; });
                loud.time =
                    block.time + static_cast<double>(first - block.samples.begin()) / stream_.format().sampleRate;
            }
            loud.samples.insert(loud.samples.end(), first, block.samples.end());
        }
        return loud;
    }

    AudioStream& stream_;
    std::mutex mutex_;  // guards the fields below
    std::vector<Audio> blocks_;
    std::optional<std::string> reason_;
    std::condition_variable changed_;
};

/// In Hz at 48 kHz, from the upward zero crossings.
double frequencyOf(const std::vector<float>& samples) {
    double first = 0, last = 0;
    int crossings = 0;
    for (std::size_t i = 1; i < samples.size(); ++i) {
        if (samples[i - 1] >= 0 || samples[i] < 0) continue;
        last = static_cast<double>(i) - samples[i] / (samples[i] - samples[i - 1]);
        if (crossings++ == 0) first = last;
    }
    return crossings > 1 ? (crossings - 1) * 48000 / (last - first) : 0;
}

/// The error that `work` throws.
std::optional<PlatformError> failureOf(const std::function<void()>& work) {
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

TEST_F(Pulse, hearsATonePlayedIntoAMicrophoneWhenItIsPlayed) {
    server.addStereoMicrophone("stereo");  // of another rate; mixed to one channel
    for (const std::string microphone : {"mic", "stereo"}) {
        const auto stream = system->microphone(microphone);
        EXPECT_EQ(stream->format(), (AudioFormat{.sampleRate = 48000, .channels = 1}));
        Listener listener(*stream);
        TonePlayer player(microphone + "feed", {.frequency = 440});
        const auto audio = listener.loudAudio();
        EXPECT_NEAR(audio.time, player.onset(), tolerance);
        EXPECT_NEAR(frequencyOf(audio.samples), 440, 0.5);
    }
}

TEST_F(Pulse, hearsTheDefaultOutputWhicheverItIs) {
    const auto stream = system->systemAudio();
    EXPECT_EQ(stream->format(), (AudioFormat{.sampleRate = 48000, .channels = 2}));
    Listener listener(*stream);
    double end = 0;
    {
        TonePlayer player("speakers", {.frequency = 1000, .seconds = 1.5});
        const auto audio = listener.loudAudio();
        EXPECT_NEAR(audio.time, player.onset(), tolerance);
        EXPECT_NEAR(frequencyOf(audio.samples), 1000, 1);
        player.waitUntilPlayed();
        end = player.onset() + 1.5 + tolerance;
    }
    server.addOutput("headphones");
    server.setDefaultOutput("headphones");
    const TonePlayer player("headphones", {.frequency = 500, .seconds = 20});
    const auto samples = listener.loudAudio(end).samples;
    ASSERT_FALSE(samples.empty());
    EXPECT_NEAR(frequencyOf({samples.begin() + 480, samples.end()}), 500, 1);  // but for the change itself
}

TEST_F(Pulse, replacesAnUnpluggedOutputByTheNextNeverByTheMicrophone) {
    const auto stream = system->systemAudio();
    Listener listener(*stream);
    server.unplug("micfeed");  // and mic with it
    server.addOutput("headphones");
    server.addStereoMicrophone("stereo");
    const TonePlayer speech("stereofeed", {.frequency = 440, .seconds = 40});
    const TonePlayer music("headphones", {.frequency = 500, .seconds = 40});
    server.setDefaultOutput("speakers");
    server.unplug("speakers");
    server.setDefaultOutput("headphones");
    EXPECT_NEAR(frequencyOf(listener.loudAudio().samples), 500, 1);
    EXPECT_FALSE(listener.hasEnded());
}

TEST_F(Pulse, survivesOutputsThatComeAndGoAtOnce) {
    const auto stream = system->systemAudio();
    Listener listener(*stream);
    for (int i = 0; i < 100; ++i) {
        server.addOutput("headphones");
        server.setDefaultOutput("headphones");
        server.unplug("headphones");
    }
    server.setDefaultOutput("speakers");
    const TonePlayer player("speakers", {.frequency = 500, .seconds = 40});
    EXPECT_NEAR(frequencyOf(listener.loudAudio().samples), 500, 1);
    EXPECT_FALSE(listener.hasEnded());
}

TEST_F(Pulse, saysThatAMicrophoneIsUnpluggedOrTheServerGone) {
    server.addStereoMicrophone("stereo");
    const auto microphone = system->microphone("mic"), other = system->microphone("stereo"),
               unstarted = system->microphone("mic"), music = system->systemAudio();
    Listener heard(*microphone), otherHeard(*other), musicHeard(*music);
    server.unplug("mic");
    EXPECT_EQ(heard.reason(), "the microphone mic is gone (Entity killed)");
    microphone->stop();
    microphone->stop();

    server.kill();
    EXPECT_EQ(otherHeard.reason(), "the audio server is gone (Connection terminated)");
    EXPECT_EQ(musicHeard.reason(), "the audio server is gone (Connection terminated)");
    const auto failure = failureOf([&] { const Listener late(*unstarted); });
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
            "no audio server answers (Connection refused); start PulseAudio or PipeWire, or record without audio");
    }
}

TEST_F(Pulse, saysWhatItCannotRecord) {
    for (const std::string name : {"unplugged", "no name at all", ""}) {
        const auto unknown = system->microphone(name);
        const auto failure = failureOf([&] { const Listener listener(*unknown); });
        ASSERT_TRUE(failure);
        EXPECT_EQ(failure->kind(), PlatformError::Kind::notFound) << failure->what();
        EXPECT_EQ(failure->what(), "no microphone named \"" + name + "\"; choose another one");
        unknown->stop();
    }
    server.unplug("micfeed");
    server.unplug("speakers");
    const auto music = system->systemAudio();
    const auto silence = failureOf([&] { const Listener listener(*music); });
    ASSERT_TRUE(silence);
    EXPECT_EQ(silence->kind(), PlatformError::Kind::notFound);
}

/// Measurements every 0.1 s with a jitter of up to 20 ms, of a device whose clock is slow by 300 parts per
/// million.
TEST(SampleClock, steadiesTimesAndFollowsTheDevice) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> jitter(-0.02, 0.02);
    SampleClock clock(48000);
    for (int i = 0; i < 6000; ++i) {  // ten minutes
        const double truth = 100 + i * 0.1 * (1 + 300e-6);
        EXPECT_TRUE(clock.measure(truth + jitter(random), i * 4800));
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
    // A second of audio was lost without notice.
    EXPECT_FALSE(clock.measure(17, 288'000));
    EXPECT_FALSE(clock.measure(17, 288'000));
    EXPECT_NEAR(clock.timeOf(288'000), 16, 1e-9);
    EXPECT_TRUE(clock.measure(17, 288'000));
    EXPECT_NEAR(clock.timeOf(288'000), 17, 1e-9);
}

}  // namespace
}  // namespace lumenwhirl
