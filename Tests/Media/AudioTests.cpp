#include "Media/AudioReader.h"
#include "Media/AudioWriter.h"
#include "Media/MediaError.h"
#include "Media/OutputFile.h"
#include "Media/Remuxer.h"
#include "Media/VideoReader.h"
#include "Media/VideoWriter.h"
#include "Tests/Support/Audio.h"
#include "Tests/Support/Files.h"
#include "Tests/Support/Movies.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <fstream>
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

void writeAudio(const std::filesystem::path& file, const AudioBuffer& audio, int sampleRate = 48'000) {
    AudioWriter writer(file, {.sampleRate = sampleRate, .channels = static_cast<int>(audio.channels.size())});
    writer.write(audio);
    writer.finish();
}

/// Where the plane is loudest within 1,000 samples around `near`.
std::size_t peakNear(const std::vector<float>& plane, std::size_t near) {
    const auto begin = plane.begin() + static_cast<std::ptrdiff_t>(near > 500 ? near - 500 : 0);
    const auto end = plane.begin() + static_cast<std::ptrdiff_t>(std::min(plane.size(), near + 500));
    const auto peak = std::max_element(begin, end, [](float a, float b) { return std::fabs(a) < std::fabs(b); });
    return static_cast<std::size_t>(peak - plane.begin());
}

struct Format {
    int sampleRate;
    std::size_t channels;
};

class EncodedAudio : public testing::TestWithParam<Format> {};

TEST_P(EncodedAudio, keepsEverySampleInItsPlaceAndItsLength) {
    const auto [sampleRate, channels] = GetParam();
    const TemporaryFolder folder;
    const auto file = folder / "sound.m4a";
    // Less than one AAC frame of 1,024, a whole one, and no multiple of one.
    for (const std::size_t frames : {700UL, 1024UL, 50'000UL, 70'001UL}) {
        SCOPED_TRACE(frames);
        AudioBuffer audio = silence(frames, channels);
        std::vector<std::size_t> clicks;
        for (std::size_t at = 300; at < frames; at += 9'973) clicks.push_back(at);
        for (std::size_t c = 0; c < channels; ++c) {
            // The clicks differ between channels, so that swapped channels show. They are five samples wide: the
            // encoder keeps too little of a single one to tell its place.
            for (const auto at : clicks) {
                const std::array pulse{0.3F, 0.6F, 0.9F, 0.6F, 0.3F};
                std::copy(pulse.begin(), pulse.end(),
                          audio.channels[c].begin() + static_cast<std::ptrdiff_t>(at + 40 * c - 2));
            }
        }
        {
            // In pieces of another size than the encoder's frames and the reader's pieces.
            AudioWriter writer(file, {.sampleRate = sampleRate, .channels = static_cast<int>(channels)});
            for (std::size_t at = 0; at < frames; at += 3'001) {
                AudioBuffer piece;
                for (const auto& plane : audio.channels) {
                    piece.channels.emplace_back(
                        plane.begin() + static_cast<std::ptrdiff_t>(at),
                        plane.begin() + static_cast<std::ptrdiff_t>(std::min(at + 3'001, frames)));
                }
                writer.write(piece);
            }
            writer.finish();
        }
        const AudioReader reader(file);
        EXPECT_EQ(reader.sampleRate(), sampleRate);
        ASSERT_EQ(reader.channels(), static_cast<int>(channels));
        const AudioBuffer back = readAll(file);
        EXPECT_EQ(back.frames(), frames);
        for (std::size_t c = 0; c < channels; ++c) {
            for (const auto at : clicks) EXPECT_EQ(peakNear(back.channels[c], at + 40 * c), at + 40 * c);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, EncodedAudio,
                         testing::Values(Format{48'000, 1}, Format{48'000, 2}, Format{44'100, 2},
                                         Format{16'000, 1}),
                         [](const auto& instance) {
                             return std::to_string(instance.param.sampleRate) + "x" +
                                    std::to_string(instance.param.channels);
                         });

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

/// A track of packets that start at these samples and count 1,000 samples of 16 bits from 1.
void writePcm(const std::filesystem::path& file, const char* container, const std::vector<std::int64_t>& starts) {
    OutputFile output(file, container);
    AVStream& stream = output.addStream();
    stream.time_base = {1, 48'000};
    stream.codecpar->codec_type = AVMEDIA_TYPE_AUDIO;
    stream.codecpar->codec_id = AV_CODEC_ID_PCM_S16LE;
    stream.codecpar->sample_rate = 48'000;
    stream.codecpar->bits_per_coded_sample = 16;
    stream.codecpar->block_align = 2;
    av_channel_layout_default(&stream.codecpar->ch_layout, 1);
    Dictionary options{{"movie_timescale", "48000"}};
    output.start(options);
    constexpr int packetFrames = 1'000;
    for (const std::int64_t start : starts) {
        const PacketHandle packet = makePacket();
        ASSERT_GE(av_new_packet(packet.get(), 2 * packetFrames), 0);
        for (int i = 0; i < packetFrames; ++i) {
            const auto sample = static_cast<std::int16_t>(i + 1);
            std::memcpy(packet->data + 2 * i, &sample, 2);
        }
        packet->pts = packet->dts = start;
        packet->duration = packetFrames;
        av_packet_rescale_ts(packet.get(), {1, 48'000}, stream.time_base);
        output.write(*packet);
    }
    output.finish();
}

TEST(AudioReader, aLateStartIsSilence) {
    const TemporaryFolder folder;
    writePcm(folder / "late.mov", "mov", {12'345, 13'345, 14'345});
    const AudioBuffer audio = readAll(folder / "late.mov", 500);
    ASSERT_EQ(audio.frames(), 15'345U);
    EXPECT_EQ(std::count(audio.channels[0].begin(), audio.channels[0].begin() + 12'345, 0.F), 12'345);
    for (std::size_t i = 12'345; i < audio.frames(); ++i) {
        // 16 bits in steps of 1/32768.
        ASSERT_EQ(audio.channels[0][i], static_cast<float>((i - 12'345) % 1'000 + 1) / 32'768.F) << i;
    }
}

TEST(AudioReader, seekingContinuesAtTheSampleOfATime) {
    const TemporaryFolder folder;
    constexpr std::size_t frames = 120'000;
    AudioBuffer clicks = silence(frames);
    for (std::size_t at = 300; at + 5 < frames; at += 4'973)
        for (std::size_t i = 0; i < 5; ++i) clicks.channels[0][at + i] = i == 2 ? 0.9F : 0.45F;
    writeWave(folder / "sound.wav", clicks, 48'000);
    writeAudio(folder / "sound.m4a", clicks);  // encoder delay in the edit list
    {
        AudioWriter writer(folder / "fragmented.m4a", {.sampleRate = 48'000, .channels = 2},
                           FileLayout::fragmented);
        writer.write(clicks);
        writer.flush();
        writer.finish();
    }
    std::vector<std::int64_t> starts;
    for (int i = 0; i < 100; ++i) starts.push_back(30'001 + 1'000 * i);
    writePcm(folder / "late.mov", "mov", starts);
    writePcm(folder / "coarse.mkv", "matroska", starts);  // times in milliseconds
    movies::write(folder / "video.mp4", movies::steady(150, 10));
    Remuxer::mux(folder / "video.mp4", folder / "sound.m4a", folder / "both.mp4");
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

TEST(AudioWriter, aFragmentedFilePlaysUpToItsLastFlush) {
    const TemporaryFolder folder;
    const auto file = folder / "mic.m4a";
    const AudioSettings settings{.sampleRate = 48'000, .channels = 1, .bitRate = 128'000};
    AudioBuffer second = silence(48'000, 1);
    for (const std::size_t at : {10'000UL, 40'000UL})
        for (std::size_t i = 0; i < 5; ++i) second.channels[0][at - 2 + i] = i == 2 ? 0.9F : 0.45F;
    {
        AudioWriter writer(file, settings, FileLayout::fragmented);
        EXPECT_EQ(std::filesystem::status(file).permissions(),
                  std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
        EXPECT_EQ(readAll(file).frames(), 0U);
        for (int i = 0; i < 3; ++i) {
            writer.write(second);
            writer.flush();
            // Read while it is being written, as if the writer had been killed. The encoder holds three frames at
            // most.
            EXPECT_EQ(writer.bytes(), static_cast<std::int64_t>(std::filesystem::file_size(file)));
            const AudioBuffer back = readAll(file);
            EXPECT_GE(back.frames(), 48'000U * static_cast<unsigned>(i + 1) - 3072U);
            EXPECT_EQ(peakNear(back.channels[0], 48'000U * static_cast<unsigned>(i) + 10'000),
                      48'000U * static_cast<unsigned>(i) + 10'000);
        }
        writer.write(second);
    }
    EXPECT_GE(readAll(file).frames(), 3 * 48'000U - 3072U);
    {
        AudioWriter writer(file, settings, FileLayout::fragmented);
        for (int i = 0; i < 3; ++i) writer.write(second);
        writer.finish();
    }
    const AudioBuffer back = readAll(file);
    EXPECT_NEAR(static_cast<double>(back.frames()), 3 * 48'000, 1024);
    EXPECT_EQ(peakNear(back.channels[0], 2 * 48'000 + 40'000), 2 * 48'000 + 40'000U);
}

TEST(AudioWriter, leavesNoFileWhenItCannotFinish) {
    const TemporaryFolder folder;
    const auto file = folder / "sound.m4a";
    { AudioWriter(file, {}).write(silence(100'000)); }
    EXPECT_TRUE(folder.isEmpty());
    for (const auto& [sampleRate, channels] : {std::pair{48'000, 0}, {0, 1}}) {
        EXPECT_EQ(thrownBy([&] { AudioWriter(file, {.sampleRate = sampleRate, .channels = channels}); }),
                  Kind::unsupported);
    }
    EXPECT_TRUE(folder.isEmpty());
    for (const rlim_t limit : {0, 2'000}) {
        EXPECT_TRUE(holdsOnFullDisk(
            limit, [&] { return thrownBy([&] { writeAudio(file, silence(1'000'000)); }) == Kind::cannotWrite; }));
        EXPECT_TRUE(folder.isEmpty());
    }
}

/// The tick of 1/600 s at which each frame is shown.
std::vector<double> ticksOf(const std::filesystem::path& file) {
    VideoReader reader(file);
    std::vector<double> ticks;
    while (const auto frame = reader.next()) {
        EXPECT_EQ(movies::numberOf(*frame), ticks.size());
        ticks.push_back(frame->time() * 600);
    }
    return ticks;
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
            const auto shown = ticksOf(file);
            ASSERT_EQ(shown.size(), ticks.size());
            for (std::size_t i = 0; i < ticks.size(); ++i)
                EXPECT_NEAR(shown[i], static_cast<double>(ticks[i]), 1e-9);
            EXPECT_TRUE(VideoReader(file).info().hasAudio);
            const AudioBuffer back = readAll(file);
            EXPECT_EQ(back.frames(), std::min(frames, 40'000UL));
            for (const auto i : at) {
                if (i < frames) {
                    EXPECT_EQ(peakNear(back.channels[0], i), i);
                }
            }
            std::ifstream in(file, std::ios::binary);
            const std::string content(std::istreambuf_iterator<char>(in), {});
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

TEST(VideoWriter, audioWrittenWithFramesStaysWithThem) {
    const TemporaryFolder folder;
    const auto file = folder / "both.mp4";
    AudioBuffer audio = silence(48'000, 1);
    audio.channels[0][8'000 + 24'000] = 0.9F;
    for (const bool isAudioLast : {false, true}) {
        VideoWriter writer(file, movies::settings(), AudioSettings{.sampleRate = 48'000, .channels = 1});
        for (unsigned i = 0; i < 60; ++i) {
            writer.write(movies::numbered(i), i * 10);
            const float* const plane = audio.channels[0].data() + i * 800UL;
            if (!isAudioLast) writer.writeAudio(&plane, 800);
        }
        const float* const all = audio.channels[0].data();
        if (isAudioLast) writer.writeAudio(&all, 48'000);
        writer.finish();
        EXPECT_EQ(ticksOf(file).size(), 60U);
        const AudioBuffer back = readAll(file);
        EXPECT_EQ(back.frames(), 48'000U);
        EXPECT_EQ(peakNear(back.channels[0], 32'000), 32'000U);
    }
}

TEST(VideoWriter, waitsForAudioNoLongerThanMemoryAllows) {
    const TemporaryFolder folder;
    const auto file = folder / "video.mov";
    VideoSettings settings = movies::settings(VideoCodec::prores);
    settings.width = 1280;
    settings.height = 720;
    Picture noisy(settings.width, settings.height, PixelFormat::yuv422p10);
    std::uint32_t noise = 1;
    for (int plane = 0; plane < 3; ++plane) {
        for (int i = 0; i < settings.height * noisy.stride(plane); i += 2) {
            noise = noise * 1664525U + 1013904223U;
            const auto sample = static_cast<std::uint16_t>(64 + (noise >> 8) % 877);
            std::memcpy(noisy.mutablePlane(plane) + i, &sample, 2);
        }
    }
    int asked = 0;
    VideoWriter writer(file, settings, [&](bool isLast) {
        EXPECT_FALSE(isLast);  // the file is begun without
        ++asked;
        return std::nullopt;
    });
    std::int64_t frames = 0;
    while (!std::filesystem::exists(file) && frames < 100) writer.write(noisy, 10 * frames++);
    const int askedBefore = asked;
    EXPECT_GT(askedBefore, 2);
    for (int i = 0; i < 5; ++i) writer.write(noisy, 10 * frames++);
    writer.finish();
    EXPECT_EQ(asked, askedBefore);
    EXPECT_FALSE(writer.hasFoundAudio());
    const auto size = static_cast<std::int64_t>(std::filesystem::file_size(file));
    EXPECT_NEAR(static_cast<double>(size) / static_cast<double>(frames) * asked,
                static_cast<double>(VideoWriter::mostWaiting),
                static_cast<double>(size) / static_cast<double>(frames));
    const VideoReader reader(file);
    EXPECT_FALSE(reader.info().hasAudio);
    EXPECT_NEAR(reader.info().duration, static_cast<double>(frames) / 60, 1e-9);
}

TEST(VideoWriter, leavesNoFileWhenTheAudioFails) {
    const TemporaryFolder folder;
    const auto file = folder / "both.mp4", audio = folder / "sound.m4a";
    const auto writing = [&](const AudioFinder& find) {
        return thrownBy([&] {
            VideoWriter writer(file, movies::settings(), find);
            for (unsigned i = 0; i < 200; ++i) writer.write(movies::numbered(i), i * 10);
            writer.finish();
        });
    };
    EXPECT_EQ(writing([&](bool) { return audio; }), Kind::cannotOpen);
    writeAudio(audio, silence(160'000));
    EXPECT_TRUE(holdsOnFullDisk(std::filesystem::file_size(audio),
                                [&] { return writing([&](bool) { return audio; }) == Kind::cannotWrite; }));
    EXPECT_EQ(writing([&](bool) { return audio; }), std::nullopt);
    std::filesystem::rename(file, audio);  // its index is in front, so it opens however short it is
    std::filesystem::resize_file(audio, std::filesystem::file_size(audio) / 2);
    EXPECT_EQ(writing([&](bool) { return audio; }), Kind::damaged);
    EXPECT_EQ(writing([&](bool isLast) -> std::optional<std::filesystem::path> {
                  if (!isLast) return std::nullopt;
                  throw MediaError(Kind::encoderFailed, audio, "a test");
              }),
              Kind::encoderFailed);
    std::filesystem::remove(audio);
    EXPECT_TRUE(folder.isEmpty());
}

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
    for (const std::uintmax_t limit :
         {std::uintmax_t{0}, std::filesystem::file_size(video) / 2, std::filesystem::file_size(video)}) {
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
