#include "Exporter/AudioNormalizer.h"
#include "Tests/Exporter/Recordings.h"
#include "Tests/Support/Audio.h"
#include "Tests/Support/ForeignMovies.h"

#include <cmath>
#include <numbers>

namespace lumenwhirl {
namespace {

using foreignAudio::Kind;
using recordings::framesOf;
using recordings::plainProject;

constexpr double seconds = 2;
constexpr std::array bursts{0.25, 0.6, 1.45, 1.8};  // when one begins

/// 100 ms of 1 kHz at each of these times: loud enough not to be amplified.
std::vector<float> audioAt(int sampleRate, double amplitude, double length = seconds) {
    std::vector<float> samples(static_cast<std::size_t>(length * sampleRate));
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double time = static_cast<double>(i) / sampleRate;
        for (const double begin : bursts)
            if (time >= begin && time < begin + 0.1)
                samples[i] = static_cast<float>(amplitude * std::sin(2000 * std::numbers::pi * (time - begin)));
    }
    return samples;
}

/// Where the audio first exceeds a third of its peak after 30 ms below it, in seconds.
std::vector<double> onsetsOf(const std::vector<float>& samples, int sampleRate) {
    float loudest = 0;
    for (const float sample : samples) loudest = std::max(loudest, std::fabs(sample));
    std::vector<double> found;
    double latest = -1;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (std::fabs(samples[i]) < loudest / 3) continue;
        const double time = static_cast<double>(i) / sampleRate;
        if (time - latest > 0.03) found.push_back(time);
        latest = time;
    }
    return found;
}

/// A recording of two seconds whose audio was not encoded by this program.
class ForeignAudio : public recordings::Exporting {
protected:
    void recordWith(const Kind& kind, double amplitude = 0.5, const char* container = "mov") const {
        recordings::write(picture, recordings::steady(60, 30));
        foreignAudio::write(source, picture, kind, audioAt(kind.sampleRate, amplitude), container);
        std::filesystem::remove(picture);
    }
    static ProjectSettings edited() {
        ProjectSettings settings = plainProject(seconds);
        settings.timeline.cuts = {{0.8, 1.3}};
        return settings;
    }
    /// Every burst of every channel is in the export where the recording has it, moved back by what was cut.
    void expectInPlace(const ProjectSettings& settings, int expectedRate) {
        AudioReader reader(source);
        const EditTimeline timeline(settings.timeline);
        const std::vector<double> recorded = onsetsOf(readAll(source).channels.front(), reader.sampleRate());
        ASSERT_EQ(recorded.size(), bursts.size());
        const auto file = exported(settings);
        AudioReader out(file);
        EXPECT_EQ(out.sampleRate(), expectedRate);
        const AudioBuffer audio = readAll(file);
        ASSERT_EQ(audio.channels.size(), static_cast<std::size_t>(reader.channels()));
        for (std::size_t c = 0; c < audio.channels.size(); ++c) {
            if (audio.channels.size() == 6 && c == 3) continue;  // the low-frequency channel
            const std::vector<double> found = onsetsOf(audio.channels[c], expectedRate);
            ASSERT_EQ(found.size(), recorded.size()) << c;
            for (std::size_t i = 0; i < found.size(); ++i)
                EXPECT_NEAR(found[i], timeline.outputTimeForSource(recorded[i]), 0.001) << c;
        }
        const auto frames = framesOf(file);
        EXPECT_EQ(frames.size(), std::floor(30 * timeline.outputDuration()));
        EXPECT_NEAR(static_cast<double>(audio.frames()) / expectedRate, timeline.outputDuration(), 0.025);
    }

    const std::filesystem::path picture = folder / "picture.mp4";
};

constexpr std::array rates{8000, 11025, 16000, 22050, 44100, 48000, 96000, 192000};

TEST_F(ForeignAudio, ofAnyRateAndChannelsIsExported) {
    for (const int rate : rates)
        for (const int channels : {1, 2, 6}) {
            SCOPED_TRACE(testing::Message() << rate << " Hz, " << channels << " channels");
            recordWith({"pcm_s16le", AV_SAMPLE_FMT_S16, rate, channels});
            const int encodedRate = std::min(rate, 96000);  // AAC has no higher rate
            expectInPlace(plainProject(seconds), encodedRate);
            expectInPlace(edited(), encodedRate);
            if (rate > 96000) continue;
            recordWith({"aac", AV_SAMPLE_FMT_FLTP, rate, channels}, 0.5, "mp4");
            EXPECT_TRUE(readAll(exported(plainProject(seconds))).channels == readAll(source).channels);
            expectInPlace(edited(), rate);
        }
}

TEST_F(ForeignAudio, ofAnyCodecIsExported) {
    for (const Kind& kind :
         {Kind{"alac", AV_SAMPLE_FMT_S16P, 44100}, Kind{"libmp3lame", AV_SAMPLE_FMT_FLTP, 44100},
          Kind{"ac3", AV_SAMPLE_FMT_FLTP, 48000}, Kind{"pcm_f32le", AV_SAMPLE_FMT_FLT, 48000},
          Kind{"pcm_mulaw", AV_SAMPLE_FMT_S16, 8000, 1}}) {
        SCOPED_TRACE(kind.encoder);
        recordWith(kind);
        expectInPlace(plainProject(seconds), kind.sampleRate);
        expectInPlace(edited(), kind.sampleRate);
    }
    for (const Kind& kind : {Kind{"libopus", AV_SAMPLE_FMT_FLT}, Kind{"flac", AV_SAMPLE_FMT_S16}}) {
        SCOPED_TRACE(kind.encoder);
        recordWith(kind, 0.5, "mp4");
        expectInPlace(plainProject(seconds), kind.sampleRate);
        expectInPlace(edited(), kind.sampleRate);
    }
}

TEST_F(ForeignAudio, withARateThatAacLacksIsRaisedToTheNextOne) {
    recordWith({"pcm_s16le", AV_SAMPLE_FMT_S16, 37800});
    expectInPlace(plainProject(seconds), 44100);
    expectInPlace(edited(), 44100);
}

TEST_F(ForeignAudio, thatIsQuietIsMadeLouderAtAnyRate) {
    for (const int rate : {8000, 192000}) {
        SCOPED_TRACE(rate);
        recordings::write(picture, recordings::steady(60, 30));
        std::vector<float> hum(static_cast<std::size_t>(seconds * rate));
        for (std::size_t i = 0; i < hum.size(); ++i)
            hum[i] = static_cast<float>(0.03 * std::sin(600 * std::numbers::pi * static_cast<double>(i) / rate));
        foreignAudio::write(source, picture, {"pcm_s16le", AV_SAMPLE_FMT_S16, rate, 1}, hum);
        for (const ProjectSettings& settings : {plainProject(seconds), edited()}) {
            const AudioNormalizer::Levels levels = AudioNormalizer::measure(exported(settings));
            EXPECT_NEAR(levels.speechLevel, AudioNormalizer::targetSpeechLevel, 0.01);
            EXPECT_EQ(levels.sampleRate, std::min(rate, 96000));
        }
    }
}

TEST_F(ForeignAudio, withMoreChannelsThanAacHasIsMixed) {
    recordWith({"pcm_s16le", AV_SAMPLE_FMT_S16, 48000, 12});
    for (const ProjectSettings& settings : {plainProject(seconds), edited()}) {
        const AudioBuffer audio = readAll(exported(settings));
        ASSERT_EQ(audio.channels.size(), 1U);
        EXPECT_EQ(onsetsOf(audio.channels.front(), 48000).size(), bursts.size());
        const auto [lowest, highest] =
            std::minmax_element(audio.channels.front().begin(), audio.channels.front().end());
        EXPECT_NEAR((*highest - *lowest) / 2, 0.5, 0.05);  // twelve equal channels, not twelve times as loud
    }
}

TEST_F(ForeignAudio, ofThreeChannelsHasACentre) {
    recordWith({"pcm_s16le", AV_SAMPLE_FMT_S16, 48000, 3});
    for (const ProjectSettings& settings : {plainProject(seconds), edited()}) {
        const InputFile file(exported(settings), AVMEDIA_TYPE_AUDIO);
        const AVChannelLayout& layout = file.firstStream(AVMEDIA_TYPE_AUDIO)->codecpar->ch_layout;
        EXPECT_GE(av_channel_layout_index_from_channel(&layout, AV_CHAN_FRONT_CENTER), 0);
        expectInPlace(settings, 48000);
    }
}

TEST_F(ForeignAudio, mayBeEmptyLateShorterOrLonger) {
    const Kind aac{}, pcm{"pcm_s16le", AV_SAMPLE_FMT_S16};
    for (Kind kind : {aac, pcm}) {
        SCOPED_TRACE(kind.encoder);
        for (const double length : {0.0, 0.02, 1.0, 2.0, 5.0}) {
            SCOPED_TRACE(length);
            recordings::write(picture, recordings::steady(60, 30));
            foreignAudio::write(source, picture, kind, audioAt(kind.sampleRate, 0.5, length));
            for (const ProjectSettings& settings : {plainProject(seconds), edited()}) {
                const auto file = exported(settings);
                EXPECT_EQ(framesOf(file).size(), 30 * EditTimeline(settings.timeline).outputDuration());
                if (!VideoReader(file).info().hasAudio) continue;  // an empty track may have been left out
                const double end = static_cast<double>(readAll(file).frames()) / kind.sampleRate;
                EXPECT_LE(end, EditTimeline(settings.timeline).outputDuration() + 0.03);
                EXPECT_GE(end, std::min(length, EditTimeline(settings.timeline).outputDuration()) - 0.03);
            }
        }
        kind.start = 0.1;
        recordWith(kind);
        expectInPlace(edited(), kind.sampleRate);
        expectInPlace(plainProject(seconds), kind.sampleRate);
    }
}

}  // namespace
}  // namespace lumenwhirl
