#include "Recorder/MicRecorder.h"

#include "Media/AudioReader.h"
#include "Tests/Recorder/ScriptedDesktop.h"
#include "Tests/Support/Files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <numbers>
#include <random>
#include <thread>

namespace lumenwhirl {
namespace {

namespace fs = std::filesystem;

constexpr int rate = 48000;
constexpr double start = 1000;                // host clock
constexpr double wholeFrame = 1024.0 / rate;  // AAC's; a fragmented file ends with one

class Microphone : public testing::Test {
protected:
    Microphone() {
        system.devices = {{.id = "built-in", .name = "Built in"}, {.id = "usb", .name = "Headset"}};
        system.defaultID = "built-in";
    }

    /// Delivers what the microphone hears between two times of the recording, in blocks of 10 ms.
    void hear(double from, double to, float (*audioAt)(double)) const {
        for (int block = 0; from + block * 0.01 < to - 1e-6; ++block) {
            const double time = from + block * 0.01;
            std::vector<float> samples(rate / 100);
            for (std::size_t i = 0; i < samples.size(); ++i)
                samples[i] = audioAt(time + static_cast<double>(i) / rate);
            system.mic.deliver({.time = start + time, .samples = samples.data(), .frames = samples.size()});
        }
    }

    static float tone(double time) {
        return 0.5F * static_cast<float>(std::sin(2 * std::numbers::pi * 440 * time));
    }
    /// What an encoder cannot compress.
    static float noise(double) {
        static std::minstd_rand random(1);
        return std::uniform_real_distribution<float>(-0.5F, 0.5F)(random);
    }

    static std::vector<float> samplesOf(const fs::path& file) {
        AudioReader reader(file);
        EXPECT_EQ(reader.channels(), 1);
        EXPECT_EQ(reader.sampleRate(), rate);
        AudioBuffer audio;
        return reader.read(audio, 100'000'000) ? audio.channels[0] : std::vector<float>();
    }
    /// The root of the mean square of [from, to) seconds.
    static double loudness(const std::vector<float>& samples, double from, double to) {
        double sum = 0;
        for (auto i = static_cast<std::size_t>(from * rate); i < static_cast<std::size_t>(to * rate); ++i)
            sum += std::pow(samples.at(i), 2);
        return std::sqrt(sum / ((to - from) * rate));
    }

    TemporaryFolder folder;
    const fs::path file = folder / "mic.m4a";
    test::ScriptedAudioSystem system;
};

TEST_F(Microphone, placesAudioByItsTime) {
    MicRecorder recorder(std::nullopt, file, system, start);
    ASSERT_TRUE(recorder.start());
    hear(0.08, 1.08, tone);  // the microphone begins 80 ms after the video
    hear(2, 3, tone);
    recorder.finish();
    recorder.finish();
    EXPECT_EQ(recorder.failure(), std::nullopt);

    const std::vector<float> samples = samplesOf(file);
    EXPECT_NEAR(static_cast<double>(samples.size()) / rate, 3, wholeFrame);
    const double loud = 0.5 / std::numbers::sqrt2;
    EXPECT_LT(loudness(samples, 0, 0.06), 0.01);
    EXPECT_NEAR(loudness(samples, 0.1, 1.06), loud, 0.01);
    EXPECT_LT(loudness(samples, 1.1, 1.98), 0.01);
    EXPECT_NEAR(loudness(samples, 2.02, 2.98), loud, 0.01);
    std::vector<float> error(rate);  // one sample off would make it 0.02
    for (std::size_t i = 0; i < error.size(); ++i) error[i] = samples[i] - tone(static_cast<double>(i) / rate);
    EXPECT_LT(loudness(error, 0.1, 1), 0.01);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(Microphone, dropsWhatWasHeardBeforeTheRecording) {
    MicRecorder recorder(std::nullopt, file, system, start);
    ASSERT_TRUE(recorder.start());
    hear(-0.5, 9, noise);  // at once, of which up to 10 s may wait
    recorder.finish();
    EXPECT_NEAR(static_cast<double>(samplesOf(file).size()) / rate, 9, wholeFrame);
    EXPECT_NEAR(static_cast<double>(fs::file_size(file)), 9 * 128'000 / 8, 32'000);
}

TEST_F(Microphone, replacesAnUnknownDeviceByTheDefault) {
    for (const auto& [wanted, opened] : std::vector<std::pair<std::optional<std::string>, std::string>>{
             {std::nullopt, "built-in"}, {"usb", "usb"}, {"unplugged", "built-in"}}) {
        MicRecorder recorder(wanted, file, system, start);
        EXPECT_TRUE(recorder.start());
        EXPECT_EQ(system.openedMicrophones.back(), opened);
    }
}

TEST_F(Microphone, writesNothingWhereItCannotRecord) {
    const auto fails = [&](const std::string& why) {
        MicRecorder recorder("usb", file, system, start);
        EXPECT_FALSE(recorder.start());
        EXPECT_EQ(recorder.failure(), why);
        recorder.finish();
        EXPECT_TRUE(folder.isEmpty());
    };
    system.mic.startFailure = "the microphone is busy";
    fails("the microphone is busy");
    system.isReachable = false;
    fails("no audio server answers");
    EXPECT_THROW((void)AudioDevices::inputs(system), PlatformError);
    system.isReachable = true;
    system.devices.clear();
    system.defaultID.reset();
    fails("there is no microphone; connect one, or record without it");
    EXPECT_TRUE(AudioDevices::inputs(system).empty());

    MicRecorder homeless(std::nullopt, folder / "none such/mic.m4a", system, start);
    system.devices = {{.id = "usb", .name = "Headset"}};
    system.defaultID = "usb";
    system.mic.startFailure.clear();
    EXPECT_FALSE(homeless.start());
    EXPECT_NE(homeless.failure()->find("none such/mic.m4a: cannot create"), std::string::npos);

    MicRecorder unstarted("usb", file, system, start);
    unstarted.finish();
    EXPECT_EQ(unstarted.failure(), std::nullopt);
}

TEST_F(Microphone, growsAFileThatPlays) {
    MicRecorder recorder(std::nullopt, file, system, start);
    ASSERT_TRUE(recorder.start());
    hear(0, 3, tone);
    // Nothing follows, and yet all but the end gets written: what a reader sees now is what a killed process
    // leaves.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    constexpr std::size_t enough = 29 * rate / 10;
    std::size_t frames = 0;
    while (frames < enough && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
        frames = samplesOf(file).size();
    }
    EXPECT_GE(frames, enough);
}

TEST_F(Microphone, reportsTheLevelOfTheLastTenthOfASecondAndThatItWasUnplugged) {
    MicRecorder recorder(std::nullopt, file, system, start);
    ASSERT_TRUE(recorder.start());
    EXPECT_EQ(recorder.level(), 0);
    system.mic.play(start, 0.01, -0.75F);
    system.mic.play(start + 0.01, 0.09, 0.25F);
    EXPECT_EQ(recorder.level(), 0.75F);
    system.mic.play(start + 0.1, 0.01, 0.125F);
    EXPECT_EQ(recorder.level(), 0.25F);
    system.mic.end("the microphone is gone");
    EXPECT_EQ(recorder.level(), 0);
    recorder.finish();
    EXPECT_EQ(recorder.failure(), "the microphone is gone");
    EXPECT_NEAR(static_cast<double>(samplesOf(file).size()) / rate, 0.11, wholeFrame);
}

TEST_F(Microphone, keepsWhatWasWrittenWhenTheDiskIsFull) {
    EXPECT_TRUE(holdsOnFullDisk(40'000, [&] {
        MicRecorder recorder(std::nullopt, file, system, start);
        if (!recorder.start()) return false;
        hear(0, 8, noise);  // 128 kB
        recorder.finish();
        return recorder.failure() && recorder.failure()->starts_with(file.string() + ": cannot write: ");
    }));
    // 40,000 bytes are 2.5 s at 128 kbit/s, or 1.25 s at twice that, which the encoder spends on noise at first.
    // The fragment of 0.4 s that did not fit is lost.
    const double seconds = static_cast<double>(samplesOf(file).size()) / rate;
    EXPECT_GT(seconds, 0.8);
    EXPECT_LT(seconds, 2.5);

    const fs::path none = folder / "none.m4a";
    EXPECT_TRUE(holdsOnFullDisk(100, [&] { return !MicRecorder(std::nullopt, none, system, start).start(); }));
    EXPECT_FALSE(fs::exists(none));
}

}  // namespace
}  // namespace lumenwhirl
