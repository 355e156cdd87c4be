#include "Exporter/AudioNormalizer.h"
#include "Media/MediaError.h"
#include "Tests/Support/Audio.h"
#include "Tests/Support/Files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <random>
#include <vector>

namespace lumenwhirl {
namespace {

constexpr int sampleRate = 48'000;

/// Runs of one amplitude each: frames, value. The RMS of a run is its value.
AudioBuffer runs(const std::vector<std::pair<std::size_t, float>>& parts, std::size_t channels = 1) {
    AudioBuffer audio;
    audio.channels.resize(channels);
    for (auto& plane : audio.channels) {
        for (const auto& [frames, value] : parts) plane.insert(plane.end(), frames, value);
    }
    return audio;
}

AudioBuffer stereoSine(std::size_t frames, double amplitude) {
    const std::vector<float> plane = signals::sine(frames, 400, amplitude);
    return {{plane, plane}};
}

/// Copies go to a folder of the test's own, so that what is left behind shows.
class Normalizer : public testing::Test {
protected:
    Normalizer() { ::setenv("TMPDIR", temporary.path().c_str(), 1); }
    ~Normalizer() override { ::unsetenv("TMPDIR"); }

    [[nodiscard]] std::filesystem::path wave(const AudioBuffer& audio, int rate = sampleRate) const {
        writeWave(folder / "sound.wav", audio, rate);
        return folder / "sound.wav";
    }
    [[nodiscard]] AudioNormalizer::Levels levelsOf(const AudioBuffer& audio) const {
        return AudioNormalizer::measure(wave(audio));
    }

    const TemporaryFolder folder, temporary;
};

TEST_F(Normalizer, speechIsThe85thPercentileOfTheBlocks) {
    // 50 ms: blocks of 960, 960 and 480 frames; index min(trunc(3 * 0.85), 2) = 2, the loudest.
    const auto levels = levelsOf(runs({{960, 0.1F}, {960, 0.3F}, {480, 0.2F}}));
    EXPECT_FLOAT_EQ(levels.speechLevel, 0.3F);
    EXPECT_EQ(levels.peak, 0.3F);
    EXPECT_EQ(levels.sampleRate, sampleRate);
    EXPECT_EQ(levels.channels, 1);
    // A short last block counts like a full one.
    EXPECT_FLOAT_EQ(levelsOf(runs({{960, 0.1F}, {960, 0.3F}, {48, -0.5F}})).speechLevel, 0.5F);
    // 100 blocks, index 85: 15 louder ones do not matter, the 15th from the top would be the 86th of them.
    EXPECT_FLOAT_EQ(levelsOf(runs({{15 * 960, 0.9F}, {85 * 960, 0.1F}})).speechLevel, 0.9F);
    EXPECT_FLOAT_EQ(levelsOf(runs({{14 * 960, 0.9F}, {86 * 960, 0.1F}})).speechLevel, 0.1F);
    // Blocks run on across the 65,536 frames of a read: this one is half loud (rms 0.4 / sqrt 2).
    const auto across = levelsOf(runs({{68 * 960 + 480, 0.0F}, {480, 0.4F}, {960 * 10, 0.0F}}));
    EXPECT_EQ(across.speechLevel, 0);
    EXPECT_EQ(across.peak, 0.4F);
    // 20 ms of 11,025 Hz are 220.5 frames: 220.
    const auto odd = wave(runs({{220, 0.1F}, {220, 0.2F}}), 11'025);
    EXPECT_FLOAT_EQ(AudioNormalizer::measure(odd).speechLevel, 0.2F);
    // Samples that are no numbers.
    EXPECT_FLOAT_EQ(levelsOf(runs({{960, NAN}, {9600, 0.1F}})).speechLevel, 0.1F);
}

TEST_F(Normalizer, channelsAreMixedDown) {
    AudioBuffer audio = runs({{4800, 0.3F}}, 3);
    std::fill(audio.channels[1].begin(), audio.channels[1].end(), 0.6F);
    EXPECT_FLOAT_EQ(levelsOf(audio).speechLevel, 0.4F);  // (0.3 + 0.6 + 0.3) / 3
    // Opposite channels cancel.
    AudioBuffer opposite = stereoSine(sampleRate, 0.05);
    for (float& sample : opposite.channels[1]) sample = -sample;
    EXPECT_EQ(levelsOf(opposite).speechLevel, 0);
    EXPECT_EQ(AudioNormalizer::normalizedCopy(wave(opposite)), std::nullopt);
}

TEST_F(Normalizer, makesNoCopyWhereNoneIsCalledFor) {
    // Silence; 0.7 times; 1.037 times, not worth it; hardly above silence.
    for (const float level : {0.0F, 0.2F, 0.135F, 0.00049F}) {
        SCOPED_TRACE(level);
        EXPECT_EQ(AudioNormalizer::normalizedCopy(wave(runs({{48'000, level}}))), std::nullopt);
    }
    const auto quiet = wave(runs({{48'000, 0.05F}}));
    EXPECT_EQ(AudioNormalizer::normalizedCopy(quiet, 1.05F), std::nullopt);
    EXPECT_EQ(AudioNormalizer::normalizedCopy(wave(runs({}))), std::nullopt);
    EXPECT_EQ(AudioNormalizer::normalizedCopy(folder / "missing.wav"), std::nullopt);
    EXPECT_EQ(AudioNormalizer::normalizedCopy(folder.path(), 2.F), std::nullopt);
    EXPECT_TRUE(temporary.isEmpty());
    // No room for it.
    ::setenv("TMPDIR", (folder / "missing").c_str(), 1);
    EXPECT_EQ(AudioNormalizer::normalizedCopy(wave(runs({{48'000, 0.05F}}))), std::nullopt);
}

TEST_F(Normalizer, gainsAreBoundedOnlyWhereFoundByAnalysis) {
    for (const auto& [level, gain] : {std::pair{0.0F, 1.0F}, {0.0005F, 1}, {0.001F, 40}, {0.07F, 2}, {0.2F, 1}})
        EXPECT_FLOAT_EQ(AudioNormalizer::gainFor({.speechLevel = level}), gain);
    EXPECT_THROW((void)AudioNormalizer::measure(folder / "missing"), MediaError);
    const auto tone = wave(stereoSine(96'000, 0.001 * std::numbers::sqrt2));
    for (const auto& [given, expected] :
         {std::pair{std::optional<float>{}, 0.04F}, {std::optional(100.F), 0.1F}}) {
        const auto copy = AudioNormalizer::normalizedCopy(tone, given);
        ASSERT_TRUE(copy);
        EXPECT_NEAR(AudioNormalizer::measure(*copy).speechLevel, expected, expected * 0.02);
        std::filesystem::remove(*copy);
    }
}

TEST_F(Normalizer, theCopyIsLouderAlignedAsLongAndPrivate) {
    // Speech of 0.02 with clicks that the gain of 7 raises to 6.3, for the limiter.
    AudioBuffer audio = stereoSine(100'000, 0.02 * std::numbers::sqrt2);
    const std::vector<std::size_t> clicks = {500, 33'333, 65'536, 99'000};
    for (const auto at : clicks) audio.channels[0][at] = audio.channels[1][at] = 0.9F;
    const auto file = wave(audio);
    const auto copy = AudioNormalizer::normalizedCopy(file);
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->parent_path(), temporary.path());
    EXPECT_EQ(std::filesystem::status(*copy).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);

    EXPECT_NEAR(AudioNormalizer::measure(*copy).speechLevel, 0.14, 0.003);
    const AudioBuffer louder = readAll(*copy);
    ASSERT_EQ(louder.channels.size(), 2U);
    EXPECT_EQ(louder.frames(), 100'000U);
    for (const auto at : clicks) {
        const auto* around = louder.channels[0].data() + at - 100;
        EXPECT_EQ(std::max_element(around, around + 200) - around, 100);
    }
    std::filesystem::remove(*copy);

    // What can be read of a damaged file counts; this one ends at half its length.
    std::filesystem::resize_file(file, std::filesystem::file_size(file) / 2);
    const auto half = AudioNormalizer::normalizedCopy(file);
    ASSERT_TRUE(half);
    EXPECT_NEAR(static_cast<double>(readAll(*half).frames()), 50'000, 3'000);
}

TEST_F(Normalizer, aStopLeavesNothing) {
    const auto file = wave(runs({{480'000, 0.05F}}));
    std::stop_source stop;
    stop.request_stop();
    EXPECT_EQ(AudioNormalizer::normalizedCopy(file, std::nullopt, stop.get_token()), std::nullopt);
    EXPECT_EQ(AudioNormalizer::normalizedCopy(file, 2.F, stop.get_token()), std::nullopt);
    EXPECT_TRUE(temporary.isEmpty());
}

TEST(Limiter, bendsEverySampleSoftlyAboveItsKnee) {
    const auto formula = [](float sample, float gain) {
        const float raised = sample * gain, magnitude = std::fabs(raised);
        if (magnitude <= 0.82F) return raised;
        return std::copysign(0.82F + 0.13F * std::tanh((magnitude - 0.82F) / 0.13F), raised);
    };
    EXPECT_NEAR(formula(1.2F, 1), 0.94925F, 1e-5F);  // 0.82 + 0.13 tanh(0.38 / 0.13) = 0.82 + 0.13 * 0.99423
    std::mt19937 random(7);
    for (std::size_t length = 0; length < 100; ++length) {
        for (const float loudest : {0.1F, 0.45F, 3.F}) {  // none, few, most above the knee
            std::uniform_real_distribution<float> samples(-loudest, loudest);
            std::vector<float> audio(length), expected(length);
            for (std::size_t i = 0; i < length; ++i) expected[i] = formula(audio[i] = samples(random), 2);
            AudioNormalizer::applyGain(audio, 2);
            ASSERT_EQ(audio, expected) << length;
        }
    }
}

}  // namespace
}  // namespace lumenwhirl
