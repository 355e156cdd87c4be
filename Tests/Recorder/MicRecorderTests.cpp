#include "Recorder/MicRecorder.h"

#include "Tests/Recorder/ScriptedDesktop.h"
#include "Tests/Support/Audio.h"
#include "Tests/Support/Files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <span>

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

    /// Delivers what the microphone hears from that time of the recording on, in blocks of 10 ms.
    void hear(double time, std::span<const float> samples) const {
        constexpr std::size_t block = rate / 100;
        for (std::size_t i = 0; i + block <= samples.size(); i += block)
            system.mic.deliver({.time = start + time + static_cast<double>(i) / rate,
                                .samples = samples.data() + i,
                                .frames = block});
    }

    TemporaryFolder folder;
    const fs::path file = folder / "mic.m4a";
    test::ScriptedAudioSystem system;
};

TEST_F(Microphone, placesAudioByItsTime) {
    const std::vector<float> tone = signals::sine(rate, 440, 0.5);
    MicRecorder recorder(std::nullopt, file, system, start);
    ASSERT_TRUE(recorder.start());
    hear(0.08, tone);  // the microphone begins 80 ms after the video
    hear(2, tone);
    recorder.finish();
    recorder.finish();
    EXPECT_EQ(recorder.failure(), std::nullopt);

    std::vector<float> error = readAll(file).channels.at(0);
    EXPECT_NEAR(static_cast<double>(error.size()) / rate, 3, wholeFrame);
    error.resize(3 * rate);
    for (std::size_t i = 0; i < tone.size(); ++i) {
        error[rate * 8 / 100 + i] -= tone[i];
        error[rate * 2 + i] -= tone[i];
    }
    for (const auto& [from, to] : {std::pair(0.0, 0.06), {0.1, 1.06}, {1.1, 1.98}, {2.02, 2.98}}) {
        const auto part = std::span(error).subspan(static_cast<std::size_t>(from * rate),
                                                   static_cast<std::size_t>((to - from) * rate));
        EXPECT_LT(signals::rmsOf(part), 0.01) << from;  // one sample off would make it 0.02
    }
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(Microphone, replacesAnUnknownDeviceByTheDefault) {
    for (const auto& [wanted, opened] : std::vector<std::pair<std::optional<std::string>, std::string>>{
             {std::nullopt, "built-in"}, {"usb", "usb"}, {"unplugged", "built-in"}}) {
        fs::remove(file);
        MicRecorder recorder(wanted, file, system, start);
        EXPECT_TRUE(recorder.start());
        EXPECT_EQ(system.openedMicrophones.back(), opened);
    }
}

TEST_F(Microphone, writesNothingWhereItCannotRecord) {
    const auto failureOf = [&](const fs::path& path) {
        MicRecorder recorder("usb", path, system, start);
        EXPECT_FALSE(recorder.start());
        recorder.finish();
        EXPECT_TRUE(folder.isEmpty());
        return recorder.failure().value_or("");
    };
    EXPECT_NE(failureOf(folder / "none such/mic.m4a").find("none such/mic.m4a: cannot create"), std::string::npos);
    system.mic.startFailure = "the microphone is busy";
    EXPECT_EQ(failureOf(file), "the microphone is busy");
    system.isReachable = false;
    EXPECT_EQ(failureOf(file), "no audio server answers");
    system.isReachable = true;
    system.devices.clear();
    system.defaultID.reset();
    EXPECT_EQ(failureOf(file), "there is no microphone; connect one, or record without it");
}

TEST_F(Microphone, reportsTheLevelOfTheLastTenthOfASecond) {
    MicRecorder recorder(std::nullopt, file, system, start);
    ASSERT_TRUE(recorder.start());
    EXPECT_EQ(recorder.level(), 0);
    system.mic.play(start, 0.01, -0.75F);
    system.mic.play(start + 0.01, 0.09, 0.25F);
    EXPECT_EQ(recorder.level(), 0.75F);
    system.mic.play(start + 0.1, 0.01, 0.125F);
    EXPECT_EQ(recorder.level(), 0.25F);
    // Programs may play anything.
    using Limits = std::numeric_limits<float>;
    for (const float value : {Limits::quiet_NaN(), -Limits::infinity(), Limits::max()})
        system.mic.play(start + 0.11, 0.1, value);
    EXPECT_EQ(recorder.level(), 1);
    recorder.finish();
    EXPECT_EQ(recorder.level(), 0);
    EXPECT_EQ(recorder.failure(), std::nullopt);
}

TEST_F(Microphone, keepsWhatWasWrittenWhenTheDiskIsFull) {
    EXPECT_TRUE(holdsOnFullDisk(40'000, [&] {
        MicRecorder recorder(std::nullopt, file, system, start);
        if (!recorder.start()) return false;
        std::vector<float> noise(8 * rate);  // at once, as up to 10 s may wait; 128 kB
        std::minstd_rand random(1);
        std::ranges::generate(noise, [&] { return std::uniform_real_distribution<float>(-0.5F, 0.5F)(random); });
        hear(0, noise);
        recorder.finish();
        return recorder.failure() && recorder.failure()->starts_with(file.string() + ": cannot write: ");
    }));
    // 40,000 bytes are 2.5 s at 128 kbit/s, or 1.25 s at twice that, which the encoder spends on noise at first.
    // The fragment of 0.4 s that did not fit is lost.
    const double seconds = static_cast<double>(readAll(file).frames()) / rate;
    EXPECT_GT(seconds, 0.8);
    EXPECT_LT(seconds, 2.5);

    const fs::path none = folder / "none.m4a";
    EXPECT_TRUE(holdsOnFullDisk(100, [&] { return !MicRecorder(std::nullopt, none, system, start).start(); }));
    EXPECT_FALSE(fs::exists(none));
}

}  // namespace
}  // namespace lumenwhirl
