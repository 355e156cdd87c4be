#include "Media/AudioReader.h"
#include "Media/AudioWriter.h"
#include "Media/MediaError.h"
#include "Media/OutputFile.h"
#include "Media/Remuxer.h"
#include "Media/VideoReader.h"
#include "Media/VideoWriter.h"
#include "Tests/Support/Audio.h"
#include "Tests/Support/Files.h"
#include "Tests/Support/ForeignMovies.h"
#include "Tests/Support/Movies.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

namespace lumenwhirl {
namespace {

using Kind = MediaError::Kind;
using movies::thrownBy;

AudioBuffer silence(std::size_t frames, std::size_t channels = 2) {
    AudioBuffer buffer;
    buffer.channels.assign(channels, std::vector<float>(frames));
    return buffer;
}

void writeAudio(const std::filesystem::path& file, const AudioBuffer& audio,
                FileLayout layout = FileLayout::indexLast) {
    AudioWriter writer(file, {.channels = static_cast<int>(audio.channels.size())}, layout);
    writer.write(audio);
    writer.finish();
}

/// Five samples wide, loudest at `middle`: an encoder keeps too little of a single one to tell its place.
void addClick(std::vector<float>& plane, std::size_t middle) {
    constexpr std::array click{0.3F, 0.6F, 0.9F, 0.6F, 0.3F};
    std::copy(click.begin(), click.end(), plane.begin() + static_cast<std::ptrdiff_t>(middle) - 2);
}

/// Where the plane is loudest within 1,000 samples around `near`.
std::size_t peakNear(const std::vector<float>& plane, std::size_t near) {
    const auto begin = plane.begin() + static_cast<std::ptrdiff_t>(near > 500 ? near - 500 : 0);
    const auto end = plane.begin() + static_cast<std::ptrdiff_t>(std::min(plane.size(), near + 500));
    const auto peak = std::max_element(begin, end, [](float a, float b) { return std::fabs(a) < std::fabs(b); });
    return static_cast<std::size_t>(peak - plane.begin());
}

TEST(EncodedAudio, keepsEverySampleInItsPlaceAndItsLength) {
    const TemporaryFolder folder;
    const auto file = folder / "sound.m4a";
    for (const auto& [sampleRate, channels] : {std::pair{48'000, 1U}, {48'000, 2U}, {44'100, 2U}, {16'000, 1U}}) {
        // Less than one AAC frame of 1,024, a whole one, and no multiple of one.
        for (const std::size_t frames : {700UL, 1024UL, 50'000UL, 70'001UL}) {
            SCOPED_TRACE(testing::Message() << sampleRate << " Hz, " << channels << " channels, " << frames);
            AudioBuffer audio = silence(frames, channels);
            std::vector<std::size_t> clicks;
            for (std::size_t at = 300; at < frames; at += 9'973) clicks.push_back(at);
            for (const auto at : clicks)
                for (std::size_t c = 0; c < channels; ++c) addClick(audio.channels[c], at + 40 * c);
            // In pieces of another size than the encoder's frames and the reader's pieces.
            AudioWriter writer(file, {.sampleRate = sampleRate, .channels = static_cast<int>(channels)});
            for (std::size_t at = 0; at < frames; at += 3'001) {
                const std::size_t count = std::min<std::size_t>(3'001, frames - at);
                AudioBuffer piece;
                for (const auto& plane : audio.channels)
                    piece.channels.emplace_back(plane.data() + at, plane.data() + at + count);
                writer.write(piece);
            }
            writer.finish();
            const AudioReader reader(file);
            EXPECT_EQ(reader.sampleRate(), sampleRate);
            ASSERT_EQ(reader.channels(), static_cast<int>(channels));
            const AudioBuffer back = readAll(file);
            EXPECT_EQ(back.frames(), frames);
            for (const auto at : clicks)  // each channel at its own places, so that swapped ones show
                for (std::size_t c = 0; c < channels; ++c)
                    EXPECT_EQ(peakNear(back.channels[c], at + 40 * c), at + 40 * c);
        }
    }
}

TEST(AudioReader, deliversFloatsUnchangedInPiecesOfAnySize) {
    const TemporaryFolder folder;
    AudioBuffer audio = silence(10'000, 3);
    for (std::size_t c = 0; c < 3; ++c) {
        for (std::size_t i = 0; i < 10'000; ++i) {
            audio.channels[c][i] = static_cast<float>(i) / 10'000 * (c == 1 ? -1.F : 1.F) + static_cast<float>(c);
        }
    }
    writeWave(folder / "sound.wav", audio, 32'000);
    for (const std::size_t step : {1UL, 777UL, 10'000UL, 65'536UL}) {
        EXPECT_EQ(readAll(folder / "sound.wav", step).channels, audio.channels);
    }
    AudioReader reader(folder / "sound.wav");
    AudioBuffer buffer;
    ASSERT_TRUE(reader.read(buffer, 9'999));
    EXPECT_EQ(buffer.frames(), 9'999U);
    ASSERT_TRUE(reader.read(buffer, 9'999));
    EXPECT_EQ(buffer.frames(), 1U);
    for (int i = 0; i < 2; ++i) {
        EXPECT_FALSE(reader.read(buffer, 9'999));
        EXPECT_EQ(buffer.frames(), 0U);
    }
}

/// 16-bit samples that count to 1,000 again and again, from sample 30,001 on.
void writeLate(const std::filesystem::path& file, const char* container) {
    std::vector<float> samples(100'000);
    for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<float>(i % 1'000 + 1) / 32'768.F;
    OutputFile output(file, container);
    foreignAudio::Track track(output, {"pcm_s16le", AV_SAMPLE_FMT_S16, 48'000, 1, 30'001.5 / 48'000});
    Dictionary options{{"movie_timescale", "48000"}};
    output.start(options);
    track.write(samples);
    output.finish();
}

TEST(AudioReader, aLateStartIsSilenceAndSeekingContinuesAtTheSampleOfATime) {
    const TemporaryFolder folder;
    constexpr std::size_t frames = 120'000;
    AudioBuffer clicks = silence(frames);
    for (std::size_t at = 300; at + 5 < frames; at += 4'973) addClick(clicks.channels[0], at);
    writeWave(folder / "sound.wav", clicks, 48'000);
    writeAudio(folder / "sound.m4a", clicks);  // encoder delay in the edit list
    writeAudio(folder / "fragmented.m4a", clicks, FileLayout::fragmented);
    writeLate(folder / "late.mov", "mov");
    writeLate(folder / "coarse.mkv", "matroska");  // times in milliseconds
    movies::write(folder / "video.mp4", movies::steady(150, 10));
    Remuxer::mux(folder / "video.mp4", folder / "sound.m4a", folder / "both.mp4");
    const std::vector<float> late = readAll(folder / "late.mov", 500).channels[0];
    ASSERT_EQ(late.size(), 130'001U);
    EXPECT_EQ(std::count(late.begin(), late.begin() + 30'001, 0.F), 30'001);
    for (std::size_t i = 0; i < 100'000; ++i)
        ASSERT_EQ(late[30'001 + i], static_cast<float>(i % 1'000 + 1) / 32'768.F) << i;
    for (const char* name : {"sound.wav", "sound.m4a", "fragmented.m4a", "late.mov", "coarse.mkv", "both.mp4"}) {
        SCOPED_TRACE(name);
        const std::vector<float> whole = readAll(folder / name).channels[0];
        ASSERT_GE(whole.size(), frames);
        AudioReader reader(folder / name);
        for (const std::size_t sample : {90'000UL, 30'000UL, 30'001UL, 30'002UL, 0UL, 1UL, 60'001UL, 20'000UL,
                                         100'123UL, whole.size() - 1, whole.size(), 500'000UL, 77'777UL}) {
            SCOPED_TRACE(sample);
            reader.seek(static_cast<double>(sample) / 48'000);
            const std::vector<float> rest = readRest(reader, 777).channels[0];
            ASSERT_EQ(rest.size(), whole.size() - std::min(sample, whole.size()));
            float difference = 0;
            for (std::size_t i = 0; i < rest.size(); ++i)
                difference = std::max(difference, std::fabs(rest[i] - whole[sample + i]));
            EXPECT_LE(difference, 0);
        }
        reader.seek(-1);
        EXPECT_EQ(readRest(reader).frames(), whole.size());
    }
}

TEST(AudioReader, refusesFilesWithoutAudioAndReportsCutOnes) {
    const TemporaryFolder folder;
    movies::write(folder / "video.mp4", movies::steady(60, 10));
    EXPECT_EQ(thrownBy([&] { AudioReader{folder / "video.mp4"}; }), Kind::noAudioTrack);
    EXPECT_EQ(thrownBy([&] { AudioReader{folder / "missing.m4a"}; }), Kind::cannotOpen);
    EXPECT_EQ(thrownBy([&] { AudioReader{folder.path()}; }), Kind::cannotOpen);
    // A sample a second: evening out the loudness of some kilobytes would take gigabytes.
    writeFile(folder / "slow.wav",
              std::string("RIFF\x2C\0\0\0WAVEfmt \x10\0\0\0\1\0\1\0\1\0\0\0\2\0\0\0\2\0\x10\0data\x08\0\0\0", 44) +
                  std::string(8, 'x'));
    EXPECT_EQ(thrownBy([&] { AudioReader{folder / "slow.wav"}; }), Kind::unsupported);

    writeAudio(folder / "sound.m4a", silence(48'000));
    Remuxer::mux(folder / "video.mp4", folder / "sound.m4a", folder / "both.mp4");
    std::filesystem::resize_file(folder / "both.mp4", std::filesystem::file_size(folder / "both.mp4") * 2 / 3);
    AudioReader reader(folder / "both.mp4");
    AudioBuffer buffer;
    std::size_t frames = 0;
    EXPECT_EQ(thrownBy([&] {
                  while (reader.read(buffer, 4'096)) frames += buffer.frames();
              }),
              Kind::damaged);
    EXPECT_GT(frames, 10'000U);
    EXPECT_EQ(buffer.frames(), 0U);
    EXPECT_EQ(thrownBy([&] { (void)reader.read(buffer, 4'096); }), Kind::damaged);
}

class JoinedTracks : public testing::TestWithParam<VideoCodec> {};

TEST_P(JoinedTracks, clickAndFrameStayTogetherToTheSample) {
    const TemporaryFolder folder;
    const auto video = folder / "video.mp4", audio = folder / "sound.m4a";
    // Uneven times, the last frame lasts a sixtieth; 500 ticks are 40,000 samples.
    std::vector<std::int64_t> ticks = movies::steady(40, 11);
    ticks.push_back(490);
    movies::write(video, ticks, movies::settings(GetParam()));
    const bool isMovie = GetParam() == VideoCodec::prores;  // whatever its name ends in
    const Container container = isMovie ? Container::mov : Container::mp4;
    const char* const tag = isMovie ? "apcn" : GetParam() == VideoCodec::hevc ? "hvc1" : "avc1";
    // Longer than the video, shorter, and as long.
    for (const std::size_t frames : {100'000UL, 20'000UL, 40'000UL}) {
        SCOPED_TRACE(frames);
        AudioBuffer clicks = silence(frames);
        // When the frames 1, 7 and 39 are shown: 80 samples a tick.
        const std::vector<std::size_t> at = {880, 6'160, 34'320};
        for (const auto i : at) {
            if (i < frames) clicks.channels[0][i] = 0.9F;
        }
        writeAudio(audio, clicks);
        // Muxed from the audio alone, and from a file with video too; and under video that is still being encoded,
        // where the audio is found before the first frame, after some, or after all.
        const double end = 500.0 / 600;
        Remuxer::mux(video, audio, folder / "once.mp4", end, container);
        Remuxer::mux(video, folder / "once.mp4", folder / "twice.mp4", end, container);
        for (const int asked : {0, 5, 1000}) {
            VideoWriter writer(folder / std::to_string(asked), movies::settings(GetParam()),
                               [&, times = 0](bool isLast) mutable {
                                   return times++ >= asked || isLast ? std::optional(audio) : std::nullopt;
                               });
            for (unsigned i = 0; i < ticks.size(); ++i) writer.write(movies::numberedFor(GetParam(), i), ticks[i]);
            writer.finish();
            EXPECT_TRUE(writer.hasFoundAudio());
        }
        for (const char* name : {"once.mp4", "twice.mp4", "0", "5", "1000"}) {
            SCOPED_TRACE(name);
            const auto file = folder / name;
            VideoReader reader(file);
            EXPECT_TRUE(reader.info().hasAudio);
            for (std::size_t i = 0; i < ticks.size(); ++i) {
                const auto frame = reader.next();
                ASSERT_TRUE(frame);
                EXPECT_EQ(movies::numberOf(*frame), i);
                EXPECT_NEAR(frame->time() * 600, static_cast<double>(ticks[i]), 1e-9);
            }
            EXPECT_FALSE(reader.next());
            const AudioBuffer back = readAll(file);
            EXPECT_EQ(back.frames(), std::min(frames, 40'000UL));
            for (const auto i : at) EXPECT_TRUE(i >= frames || peakNear(back.channels[0], i) == i) << i;
            const std::string content = contentsOf(file);
            EXPECT_LT(content.find("moov"), content.find("mdat"));
            EXPECT_EQ(content.substr(4, 8), isMovie ? "ftypqt  " : "ftypisom");
            EXPECT_NE(content.find(tag), std::string::npos);
            EXPECT_NE(content.find(isMovie ? "colrnclc" : "colrnclx"), std::string::npos);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Codecs, JoinedTracks,
                         testing::Values(VideoCodec::h264, VideoCodec::hevc, VideoCodec::prores),
                         [](const auto& instance) { return movies::nameOf(instance.param); });

TEST(Remuxer, reportsWhatIsMissingAndLeavesNoPartialFile) {
    const TemporaryFolder folder;
    const TemporaryFolder target;
    const auto video = folder / "video.mp4", audio = folder / "sound.m4a", destination = target / "both.mp4";
    movies::write(video, movies::steady(300, 10));
    writeAudio(audio, silence(240'000));
    EXPECT_EQ(thrownBy([&] { Remuxer::mux(video, video, destination); }), Kind::noAudioTrack);
    EXPECT_EQ(thrownBy([&] { Remuxer::mux(audio, audio, destination); }), Kind::noVideoTrack);
    EXPECT_EQ(thrownBy([&] { Remuxer::mux(video, folder / "missing", destination); }), Kind::cannotOpen);
    EXPECT_TRUE(target.isEmpty());
    const std::uintmax_t size = std::filesystem::file_size(video);
    for (const std::uintmax_t limit : {std::uintmax_t{0}, size / 2, size}) {
        EXPECT_TRUE(holdsOnFullDisk(limit, [&] {
            return thrownBy([&] { Remuxer::mux(video, audio, destination); }) == Kind::cannotWrite;
        }));
        EXPECT_TRUE(target.isEmpty());
    }
    // Cut video is damaged, not shorter.
    std::filesystem::resize_file(video, std::filesystem::file_size(video) / 2);
    EXPECT_EQ(thrownBy([&] { Remuxer::mux(video, audio, destination); }), Kind::damaged);
    EXPECT_TRUE(target.isEmpty());
}

}  // namespace
}  // namespace lumenwhirl
