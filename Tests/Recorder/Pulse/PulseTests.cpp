#include "Files/Descriptor.h"
#include "Recorder/Backends/Pulse/PulseAudioSystem.h"
#include "Recorder/Backends/Pulse/PulseStream.h"
#include "Tests/Recorder/Pulse/AudioServer.h"
#include "Tests/Recorder/Pulse/TonePlayer.h"
#include "Tests/Support/Audio.h"
#include "Tests/Support/Files.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <random>
#include <stop_token>
#include <string>
#include <vector>

namespace lumenwhirl {
namespace {

// Seconds. What an output plays is right within 0.1 ms; the test's microphones do not report their 10 ms of
// latency.
constexpr double tolerance = 0.03;

/// A running stream and what it has delivered, from the first loud sample on.
class Listener {
public:
    struct Audio {
        double time = 0;               // of the first sample
        std::vector<float> samples{};  // of the first channel
    };

    explicit Listener(AudioStream& stream) : stream_(stream) {
        stream_.start([this, format = stream.format()](const AudioBlock& block) { take(block, format); },
                      [this](const std::string& reason) {
                          const std::lock_guard lock(mutex_);
                          reason_ = reason;
                          changed_.notify_all();
                      });
        (void)waitUntil([&] { return isHearing_; });
    }
    ~Listener() { stream_.stop(); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    /// Waits for a second of it.
    [[nodiscard]] Audio loudAudio() {
        const auto lock = waitUntil([&] { return loud_.samples.size() >= 48'000; });
        return loud_;
    }
    /// Why the stream has ended; waits for it.
    [[nodiscard]] std::string reason() {
        const auto lock = waitUntil([&] { return reason_.has_value(); });
        return reason_.value_or("");
    }

private:
    [[nodiscard]] std::unique_lock<std::mutex> waitUntil(const std::function<bool()>& isDone) {
        std::unique_lock lock(mutex_);
        EXPECT_TRUE(changed_.wait_for(lock, std::chrono::seconds(30), isDone));
        return lock;
    }
    void take(const AudioBlock& block, const AudioFormat& format) {
        const std::lock_guard lock(mutex_);
        isHearing_ = true;
        for (std::size_t i = 0; i < block.frames; ++i) {
            const float sample = block.samples[i * static_cast<std::size_t>(format.channels)];
            if (loud_.samples.empty() && std::abs(sample) <= 0.05F) continue;
            if (loud_.samples.empty()) loud_.time = block.time + static_cast<double>(i) / format.sampleRate;
            loud_.samples.push_back(sample);
        }
        changed_.notify_all();
    }

    AudioStream& stream_;
    std::mutex mutex_;  // guards the fields below
    bool isHearing_ = false;
    Audio loud_;
    std::optional<std::string> reason_;
    std::condition_variable changed_;
};

/// The kind and the message of what `work` throws.
using Failure = std::pair<PlatformError::Kind, std::string>;
std::optional<Failure> failureOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const PlatformError& error) {
        return Failure{error.kind(), error.what()};
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

    server.addMicrophone("stereo", "Stereo Microphone", 44100, 2);
    EXPECT_EQ(system->inputs(), (std::vector{mic, stereo}));
    server.unplug("mic");
    EXPECT_EQ(system->defaultInputID(), "stereo");
    server.unplug("stereo");
    EXPECT_EQ(system->inputs(), std::vector<MicDevice>());
    EXPECT_EQ(system->defaultInputID(), std::nullopt);
}

TEST_F(Pulse, hearsATonePlayedIntoAMicrophoneWhenItIsPlayed) {
    server.addMicrophone("stereo", "Stereo Microphone", 44100, 2);
    const auto stream = system->microphone("stereo");
    EXPECT_EQ(stream->format(), (AudioFormat{.sampleRate = 48000, .channels = 1}));
    Listener listener(*stream);
    TonePlayer player("stereofeed", {.frequency = 440});
    const auto audio = listener.loudAudio();
    EXPECT_NEAR(audio.time, player.onset(), tolerance);
    EXPECT_NEAR(signals::frequencyOf(audio.samples), 440, 0.5);
}

TEST_F(Pulse, hearsTheDefaultOutputWhicheverItIs) {
    const auto stream = system->systemAudio();
    EXPECT_EQ(stream->format(), (AudioFormat{.sampleRate = 48000, .channels = 2}));
    Listener listener(*stream);
    server.addOutput("headphones");
    server.setDefaultOutput("headphones");
    const TonePlayer player("headphones", {.frequency = 500, .seconds = 40});
    const auto samples = listener.loudAudio().samples;
    ASSERT_GT(samples.size(), 480U);  // which the change itself may disturb
    EXPECT_NEAR(signals::frequencyOf({samples.begin() + 480, samples.end()}), 500, 1);
}

TEST_F(Pulse, replacesAnUnpluggedOutputByTheNextNeverByTheMicrophone) {
    const auto stream = system->systemAudio();
    Listener listener(*stream);
    server.unplug("micfeed");  // and mic with it
    server.addOutput("headphones");
    server.addMicrophone("stereo", "Stereo Microphone", 44100, 2);
    const TonePlayer speech("stereofeed", {.frequency = 440, .seconds = 40});
    const TonePlayer music("headphones", {.frequency = 500, .seconds = 40});
    server.setDefaultOutput("speakers");
    server.unplug("speakers");
    server.setDefaultOutput("headphones");
    EXPECT_NEAR(signals::frequencyOf(listener.loudAudio().samples), 500, 1);
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
    EXPECT_NEAR(signals::frequencyOf(listener.loudAudio().samples), 500, 1);
}

TEST_F(Pulse, saysThatAMicrophoneIsUnpluggedOrTheServerGone) {
    server.addMicrophone("stereo", "Stereo Microphone", 44100, 2);
    const auto microphone = system->microphone("mic"), other = system->microphone("stereo"),
               unstarted = system->microphone("mic"), music = system->systemAudio();
    Listener heard(*microphone), otherHeard(*other), musicHeard(*music);
    server.unplug("mic");
    EXPECT_EQ(heard.reason(), "the microphone mic is gone (Entity killed)");
    microphone->stop();

    server.kill();
    EXPECT_EQ(otherHeard.reason(), "the audio server is gone (Connection terminated)");
    EXPECT_EQ(musicHeard.reason(), "the audio server is gone (Connection terminated)");
    const auto kind = PlatformError::Kind::notReachable;
    const auto late = failureOf([&] { const Listener listener(*unstarted); });
    EXPECT_TRUE(late && late->first == kind);
    const Failure refused{
        kind,
        "no audio server answers (Connection refused); start PulseAudio or PipeWire, or record without audio"};
    EXPECT_EQ(failureOf([&] { (void)system->inputs(); }), refused);
    EXPECT_EQ(failureOf([&] { (void)system->defaultInputID(); }), refused);
    EXPECT_EQ(failureOf([&] { (void)system->microphone("mic"); }), refused);
    EXPECT_EQ(failureOf([&] { (void)system->systemAudio(); }), refused);
}

TEST_F(Pulse, saysWhatItCannotRecord) {
    const auto kind = PlatformError::Kind::notFound;
    for (const std::string name : {"unplugged", "no name at all", ""}) {
        const auto unknown = system->microphone(name);
        EXPECT_EQ(failureOf([&] { const Listener listener(*unknown); }),
                  (Failure{kind, "no microphone named \"" + name + "\"; choose another one"}));
        unknown->stop();
    }
    server.unplug("micfeed");
    server.unplug("speakers");
    const auto music = system->systemAudio();
    const auto silence = failureOf([&] { const Listener listener(*music); });
    EXPECT_TRUE(silence && silence->first == kind);
}

// As a stopped one does: the system takes connections for it.
TEST(HungPulse, givesUpOnAServerThatHangsOrWhenItIsToStop) {
    const TemporaryFolder folder;
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    (folder / "socket").native().copy(address.sun_path, sizeof address.sun_path - 1);
    const Descriptor server(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(bind(server.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(server.get(), 8), 0);
    setenv("PULSE_SERVER", (std::string("unix:") + address.sun_path).c_str(), 1);
    setenv("PULSE_COOKIE", (folder / "cookie").c_str(), 1);
    std::stop_source stop;
    const auto system = makePulseAudioSystem(stop.get_token());
    const auto problem = [&] {
        const auto failure = failureOf([&] { (void)system->systemAudio(); });
        return failure ? failure->second.substr(0, failure->second.find(';')) : "";
    };
    EXPECT_EQ(problem(), "no audio server answers (It hangs)");
    stop.request_stop();
    EXPECT_EQ(problem(), "no audio server answers (Cancelled)");
    unsetenv("PULSE_SERVER");
    unsetenv("PULSE_COOKIE");
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
