#include "Engine/Timeline/EditTimeline.h"
#include "Exporter/AudioEdit.h"
#include "Tests/Support/Audio.h"
#include "Tests/Support/Files.h"

#include <gtest/gtest.h>

#include <thread>

namespace lumenwhirl {
namespace {

using signals::sine;

Timeline speeds(double duration, std::vector<SpeedRange> ranges) {
    Timeline edit;
    edit.duration = duration;
    edit.speedRanges = std::move(ranges);
    return edit;
}

class EditedAudio : public testing::Test {
protected:
    [[nodiscard]] AudioBuffer edited(const AudioBuffer& audio, int sampleRate, const Timeline& edit) const {
        writeWave(folder / "sound.wav", audio, sampleRate);
        AudioEdit::write(folder / "sound.wav", 1, EditTimeline(edit), folder / "out.m4a");
        return readAll(folder / "out.m4a");
    }
    /// One channel at 48 kHz, edited as long as it is.
    [[nodiscard]] std::vector<float> edited(const std::vector<float>& samples, Timeline edit) const {
        edit.duration = static_cast<double>(samples.size()) / 48000;
        return edited({{samples}}, 48000, edit).channels.front();
    }
    static Timeline atRate(double rate) { return speeds(0, {{0, 1000, rate}}); }

    const TemporaryFolder folder;
};

TEST_F(EditedAudio, lastsAsLongAsTheVideoAndKeepsItsPitchAtEveryRate) {
    for (const auto& [rate, seconds] : std::vector<std::pair<double, double>>{
             {0.05, 0.5}, {0.25, 0.5}, {0.5, 1}, {0.999, 1}, {1.5, 2}, {2, 2}, {4, 4}, {8, 8}, {100, 50}}) {
        SCOPED_TRACE(rate);
        const auto frames = static_cast<std::size_t>(seconds * 48000);
        const std::vector<float> out = edited(sine(frames, 440, 0.3), atRate(rate));
        EXPECT_EQ(static_cast<long>(out.size()), std::lround(static_cast<double>(frames) / rate));
        // Without the ends, where it may be weaker.
        const auto middle = std::span(out).subspan(out.size() / 5, out.size() * 3 / 5);
        EXPECT_NEAR(signals::frequencyOf(middle), 440, 4.4);
        EXPECT_NEAR(signals::rmsOf(middle), 0.3 / std::numbers::sqrt2, 0.03);
    }
}

TEST_F(EditedAudio, extremeRatesEndAndHoldTheirLength) {
    EXPECT_EQ(edited(sine(48000, 440, 0.3), atRate(1e6)).size(), 1U);  // a track needs at least one sample
    EXPECT_EQ(edited(sine(480000, 440, 0.3), atRate(1000)).size(), 480U);
    EXPECT_EQ(edited(sine(480, 440, 0.3), atRate(1e-9)).size(), 9600U);  // at 0.05, the slowest rate
}

TEST_F(EditedAudio, segmentsOfEveryRateBeginOnTheirSample) {
    // Bursts in the middle of parts of rate 1, each after a part of another rate; and a cut off the samples' grid.
    const std::vector<double> times{0.5, 2.5, 4.5, 6.5, 8.5};
    Timeline edit;
    edit.cuts = {{0.6123456, 0.7}};
    edit.speedRanges = {{1, 2, 0.25}, {3, 4, 1.5}, {5, 6, 2}, {7, 8, 8}};
    const std::vector<float> out = edited(signals::bursts(9 * 48000, times), edit);
    edit.duration = 9;
    const EditTimeline timeline(edit);
    const std::vector<double> found = signals::onsets(out);
    ASSERT_EQ(found.size(), times.size());
    for (std::size_t i = 0; i < times.size(); ++i)
        EXPECT_NEAR(found[i], timeline.outputTimeForSource(times[i]), 12 / 48000.0) << i;
    EXPECT_EQ(static_cast<long>(out.size()), std::lround(timeline.outputDuration() * 48000));
}

TEST_F(EditedAudio, audioOfAFasterOrSlowerPartStaysInSyncWithTheVideo) {
    const std::vector<double> times{0.5, 1, 1.5, 2.25, 3};
    for (const double rate : {0.25, 0.5, 0.8, 1.5, 2.0, 4.0, 8.0}) {
        SCOPED_TRACE(rate);
        const std::vector<float> out = edited(signals::bursts(4 * 48000, times), atRate(rate));
        for (const double time : times) {
            // A burst of 60 ms is smeared a little; its middle stays. Nothing else is within 50 ms and 30 more.
            const double middle = (time + 0.03) / rate;
            EXPECT_NEAR(signals::middleOf(out, middle, 0.05 / rate + 0.03), middle, 0.005) << time;
        }
    }
}

TEST_F(EditedAudio, joinsDoNotClick) {
    // Cut at an arbitrary phase: joined without a fade, it would jump by up to twice its amplitude.
    const std::vector<float> whole = sine(6 * 48000, 220, 0.2);
    Timeline edit;
    for (int i = 0; i < 20; ++i) edit.cuts.push_back({0.2 + i * 0.2713, 0.25 + i * 0.2713});
    const float steepest = signals::largestJump(whole);  // 0.2 * 2 pi * 220 / 48000
    EXPECT_LT(signals::largestJump(edited(whole, edit)), 1.5F * steepest);
    edit.speedRanges = {{1, 2, 2}, {3, 4.1, 0.5}, {4.1, 4.2, 0.5}};
    EXPECT_LT(signals::largestJump(edited(whole, edit)), 1.5F * steepest);
}

TEST_F(EditedAudio, whatTheEditLeavesAloneRunsOnWithoutAGap) {
    // A speed range of rate 1 divides the recording and changes nothing.
    const std::vector<float> out = edited(sine(3 * 48000, 440, 0.3), speeds(0, {{1, 2, 1}}));
    ASSERT_EQ(out.size(), 3U * 48000);
    for (const std::size_t joint : {48000U, 96000U})
        EXPECT_NEAR(signals::rmsOf(std::span(out).subspan(joint - 218, 436)), 0.3 / std::numbers::sqrt2, 0.01);
}

TEST_F(EditedAudio, missingAudioIsSilence) {
    Timeline edit = speeds(4, {{2, 3, 2}});
    edit.cuts = {{0.5, 0.75}};
    const std::vector<float> out = edited({{sine(48000, 440, 0.3)}}, 48000, edit).channels.front();
    EXPECT_EQ(out.size(), 13U * 48000 / 4);  // 4 s less the 0.25 s cut and the half of 1 s
    EXPECT_LT(signals::rmsOf(std::span(out).subspan(36000 + 2048)), 1e-3);
}

TEST_F(EditedAudio, channelsAndRateStay) {
    const std::vector<float> left = sine(44100, 440, 0.4), right(44100);
    const AudioBuffer out = edited({{left, right}}, 44100, speeds(1, {{0.5, 1, 0.5}}));
    EXPECT_EQ(AudioReader(folder / "out.m4a").sampleRate(), 44100);
    ASSERT_EQ(out.channels.size(), 2U);
    EXPECT_EQ(out.frames(), 66150U);  // 0.5 s, then 0.5 s at half the speed
    EXPECT_GT(signals::rmsOf(out.channels[0]), 0.25);
    EXPECT_LT(signals::rmsOf(out.channels[1]), 0.01);
}

TEST_F(EditedAudio, aStopLeavesNoFile) {
    writeWave(folder / "sound.wav", {{sine(48000, 440, 0.3)}}, 48000);
    // A slow part of hours, which only a stop can end in time, begun before or after it is asked for.
    const EditTimeline timeline(speeds(48 * 3600, {{0, 48 * 3600, 0.05}}));
    std::stop_source stop;
    std::jthread edit(
        [&] { AudioEdit::write(folder / "sound.wav", 1, timeline, folder / "out.m4a", stop.get_token()); });
    stop.request_stop();
    edit.join();
    EXPECT_FALSE(std::filesystem::exists(folder / "out.m4a"));
}

}  // namespace
}  // namespace lumenwhirl
