#include "Exporter/AudioNormalizer.h"
#include "Tests/Exporter/Recordings.h"
#include "Tests/Support/Audio.h"
#include "Tests/Support/ForeignMovies.h"

#include <cmath>

namespace lumenwhirl {
namespace {

using foreignAudio::Kind;
using recordings::framesOf;
using signals::onsets;

constexpr double seconds = 2;
constexpr std::array bursts{0.1, 0.25, 0.45, 0.6, 1.45, 1.8};  // enough not to be taken for silence and noise

/// A recording of two seconds whose audio was not encoded by this program.
class ForeignAudio : public recordings::Exporting {
protected:
    ForeignAudio() { movies::write(picture, recordings::steady(60, 30)); }

    void recordBursts(const Kind& kind, const char* container = "mov", double length = seconds) const {
        const auto frames = static_cast<std::size_t>(length * kind.sampleRate);
        foreignAudio::write(source, picture, kind, signals::bursts(frames, bursts, kind.sampleRate), container);
    }
    /// Every burst of every channel is in the export where the recording has it, moved back by what was cut.
    void expectInPlace(const ProjectSettings& settings, int expectedRate) const {
        AudioReader reader(source);
        const EditTimeline timeline(settings.timeline);
        const std::vector<double> recorded = onsets(readAll(source).channels.front(), reader.sampleRate());
        ASSERT_EQ(recorded.size(), bursts.size());
        const auto file = exported(settings);
        EXPECT_EQ(AudioReader(file).sampleRate(), expectedRate);
        const AudioBuffer audio = readAll(file);
        ASSERT_EQ(audio.channels.size(), static_cast<std::size_t>(reader.channels()));
        for (std::size_t c = 0; c < audio.channels.size(); ++c) {
            if (audio.channels.size() == 6 && c == 3) continue;  // the low-frequency channel
            const std::vector<double> found = onsets(audio.channels[c], expectedRate);
            ASSERT_EQ(found.size(), recorded.size()) << c;
            for (std::size_t i = 0; i < found.size(); ++i)
                EXPECT_NEAR(found[i], timeline.outputTimeForSource(recorded[i]), 0.001) << c;
        }
        EXPECT_EQ(framesOf(file).size(), std::floor(30 * timeline.outputDuration()));
        EXPECT_NEAR(static_cast<double>(audio.frames()) / expectedRate, timeline.outputDuration(), 0.025);
    }
    void expectAllInPlace(int expectedRate) const {
        for (const ProjectSettings& settings : projects) expectInPlace(settings, expectedRate);
    }

    const std::vector<ProjectSettings> projects = recordings::plainAndCut(seconds, {0.8, 1.3});
    const std::filesystem::path picture = folder / "picture.mp4";
};

TEST_F(ForeignAudio, ofAnyRateAndChannelsIsExported) {
    struct Rate {
        int recorded, exported;  // AAC lacks some, and all above 96 kHz
    };
    for (const Rate rate :
         {Rate{8000, 8000}, Rate{11025, 11025}, Rate{16000, 16000}, Rate{22050, 22050}, Rate{37800, 44100},
          Rate{44100, 44100}, Rate{48000, 48000}, Rate{96000, 96000}, Rate{192000, 96000}}) {
        for (const int channels : {1, 2, 6}) {
            SCOPED_TRACE(testing::Message() << rate.recorded << " Hz, " << channels << " channels");
            recordBursts({"pcm_s16le", AV_SAMPLE_FMT_S16, rate.recorded, channels});
            expectAllInPlace(rate.exported);
            if (rate.recorded != rate.exported) continue;
            recordBursts({"aac", AV_SAMPLE_FMT_FLTP, rate.recorded, channels}, "mp4");
            EXPECT_TRUE(readAll(exported(projects[0])).channels == readAll(source).channels);
            expectInPlace(projects[1], rate.exported);
        }
    }
}

TEST_F(ForeignAudio, ofAnyCodecIsExported) {
    for (const Kind& kind :
         {Kind{"alac", AV_SAMPLE_FMT_S16P, 44100}, Kind{"libmp3lame", AV_SAMPLE_FMT_FLTP, 44100},
          Kind{"ac3", AV_SAMPLE_FMT_FLTP, 48000}, Kind{"pcm_f32le", AV_SAMPLE_FMT_FLT, 48000},
          Kind{"pcm_mulaw", AV_SAMPLE_FMT_S16, 8000, 1}, Kind{"libopus", AV_SAMPLE_FMT_FLT},
          Kind{"flac", AV_SAMPLE_FMT_S16}}) {
        SCOPED_TRACE(kind.encoder);
        const bool needsMp4 = kind.encoder == std::string("libopus") || kind.encoder == std::string("flac");
        recordBursts(kind, needsMp4 ? "mp4" : "mov");
        expectAllInPlace(kind.sampleRate);
    }
}

TEST_F(ForeignAudio, thatIsQuietIsMadeLouderAtAnyRate) {
    for (const int rate : {8000, 192000}) {
        SCOPED_TRACE(rate);
        const std::vector<float> hum = signals::sine(static_cast<std::size_t>(seconds * rate), 300, 0.03, rate);
        foreignAudio::write(source, picture, {"pcm_s16le", AV_SAMPLE_FMT_S16, rate, 1}, hum);
        for (const ProjectSettings& settings : projects) {
            const AudioNormalizer::Levels levels = AudioNormalizer::measure(exported(settings));
            EXPECT_NEAR(levels.speechLevel, AudioNormalizer::targetSpeechLevel, 0.01);
            EXPECT_EQ(levels.sampleRate, std::min(rate, 96000));
        }
    }
}

TEST_F(ForeignAudio, withMoreChannelsThanAacHasIsMixed) {
    recordBursts({"pcm_s16le", AV_SAMPLE_FMT_S16, 48000, 12});
    for (const ProjectSettings& settings : projects) {
        const AudioBuffer audio = readAll(exported(settings));
        ASSERT_EQ(audio.channels.size(), 1U);
        EXPECT_EQ(onsets(audio.channels.front()).size(), bursts.size());
        const auto [lowest, highest] = std::ranges::minmax(audio.channels.front());
        EXPECT_NEAR((highest - lowest) / 2, 0.5, 0.05);  // twelve equal channels, not twelve times as loud
    }
}

TEST_F(ForeignAudio, ofThreeChannelsHasACentre) {
    recordBursts({"pcm_s16le", AV_SAMPLE_FMT_S16, 48000, 3});
    for (const ProjectSettings& settings : projects) {
        expectInPlace(settings, 48000);
        const InputFile file(folder / "out.mp4", AVMEDIA_TYPE_AUDIO);
        const AVChannelLayout& layout = file.firstStream(AVMEDIA_TYPE_AUDIO)->codecpar->ch_layout;
        EXPECT_GE(av_channel_layout_index_from_channel(&layout, AV_CHAN_FRONT_CENTER), 0);
    }
}

TEST_F(ForeignAudio, mayBeEmptyLateShorterOrLonger) {
    for (Kind kind : {Kind{}, Kind{"pcm_s16le", AV_SAMPLE_FMT_S16}}) {
        SCOPED_TRACE(kind.encoder);
        for (const double length : {0.0, 0.02, 1.0, 2.0, 5.0}) {
            SCOPED_TRACE(length);
            recordBursts(kind, "mov", length);
            for (const ProjectSettings& settings : projects) {
                const auto file = exported(settings);
                const double duration = EditTimeline(settings.timeline).outputDuration();
                EXPECT_EQ(framesOf(file).size(), 30 * duration);
                if (!VideoReader(file).info().hasAudio) continue;  // an empty track may have been left out
                const double end = static_cast<double>(readAll(file).frames()) / kind.sampleRate;
                EXPECT_LE(end, duration + 0.03);
                EXPECT_GE(end, std::min(length, duration) - 0.03);
            }
        }
        kind.start = 0.1;
        recordBursts(kind);
        expectAllInPlace(kind.sampleRate);
    }
}

}  // namespace
}  // namespace lumenwhirl
