#include "Media/InputFile.h"
#include "Media/LiveWriter.h"
#include "Media/MediaError.h"
#include "Media/VideoReader.h"
#include "Tests/Support/Audio.h"
#include "Tests/Support/Files.h"
#include "Tests/Support/Movies.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <map>
#include <string>
#include <vector>

namespace lumenwhirl {
namespace {

using Kind = MediaError::Kind;
using movies::numberOf;
using movies::readAllFrames;
using movies::thrownBy;

class VideoFiles : public testing::TestWithParam<VideoCodec> {
protected:
    TemporaryFolder folder;
    std::filesystem::path file = folder / "video.mp4";
};

TEST_P(VideoFiles, keepToTheirBitRateAndKeyFrames) {
    auto settings = movies::settings(GetParam());
    settings.bitRate = 200'000;
    settings.keyFrameInterval = 30;
    movies::write(file, movies::steady(150, 10), settings);
    EXPECT_NEAR(VideoReader(file).info().duration, 2.5, 1e-9);
    InputFile input(file);
    AVStream& stream = input.requiredStream(AVMEDIA_TYPE_VIDEO);
    if (GetParam() == VideoCodec::prores) {  // its quality is fixed, and every frame a key frame
        EXPECT_EQ(stream.codecpar->field_order, AV_FIELD_PROGRESSIVE);
        return;
    }
    EXPECT_EQ(stream.codecpar->chroma_location, AVCHROMA_LOC_LEFT);
    for (int i = 0, lastKeyFrame = 0; i < avformat_index_get_entries_count(&stream); ++i) {
        if ((avformat_index_get_entry(&stream, i)->flags & AVINDEX_KEYFRAME) != 0) lastKeyFrame = i;
        EXPECT_LE(i - lastKeyFrame, 33);  // 30 as shown; up to 3 reordered ones may be stored behind the key frame
    }
    // Small frames keep to a rate only roughly: this catches a rate per tick instead of per frame.
    EXPECT_NEAR(static_cast<double>(std::filesystem::file_size(file)) * 8 / 2.5, 200'000, 100'000);
}

/// The numbers of the frames that are key frames, by the file's index. (The flags of packets also count other
/// intra frames.)
std::vector<unsigned> keyFramesOf(const std::filesystem::path& file, const std::vector<std::int64_t>& ticks) {
    InputFile input(file);
    AVStream& stream = input.requiredStream(AVMEDIA_TYPE_VIDEO);
    std::map<std::int64_t, std::int64_t> timeOf;  // presentation by decoding time
    const PacketHandle packet = makePacket();
    while (input.read(*packet)) timeOf[packet->dts] = packet->pts;
    std::vector<unsigned> numbers;
    for (int i = 0; i < avformat_index_get_entries_count(&stream); ++i) {
        const AVIndexEntry& entry = *avformat_index_get_entry(&stream, i);
        if ((entry.flags & AVINDEX_KEYFRAME) == 0) continue;
        const std::int64_t tick = av_rescale_q(timeOf.at(entry.timestamp), stream.time_base, {1, 600});
        numbers.push_back(static_cast<unsigned>(std::ranges::find(ticks, tick) - ticks.begin()));
    }
    return numbers;
}

TEST_P(VideoFiles, giveEveryFrameAtItsExactTimeAlsoAfterASeek) {
    using Seek = VideoReader::Seek;
    auto settings = movies::settings(GetParam());
    settings.keyFrameInterval = 25;
    constexpr unsigned count = 90;
    std::vector<std::int64_t> ticks;  // uneven, the first at 0.2 s
    for (std::int64_t i = 0, at = 116; i < count; ++i) ticks.push_back(at += 4 + i * 7 % 13);
    const auto timeOf = [&](unsigned number) { return static_cast<double>(ticks[number]) / 600; };
    for (const bool isFragmented : {false, true}) {
        if (isFragmented && GetParam() == VideoCodec::prores) continue;
        SCOPED_TRACE(isFragmented);
        if (!isFragmented) {
            movies::write(file, ticks, settings);
        } else {
            std::filesystem::remove(file);
            LiveWriter writer(file, settings);
            writer.start(AudioSettings{.sampleRate = 48'000, .channels = 1});
            const std::vector<float> noNumbers(4800, std::numeric_limits<float>::quiet_NaN());
            const float* const channel = noNumbers.data();
            EXPECT_EQ(movies::thrownBy([&] { writer.writeAudio(&channel, noNumbers.size()); }),
                      MediaError::Kind::encoderFailed);
            for (unsigned i = 0; i < count; ++i) {
                writer.write(movies::numbered(i), ticks[i]);
                if (i % 10 == 9) writer.flush();
            }
            writer.finish();
        }
        const std::vector<unsigned> keyFrames = keyFramesOf(file, ticks);
        ASSERT_GE(keyFrames.size(), 3U);
        VideoReader reader(file);
        const auto expectNext = [&](unsigned number, unsigned end) {
            for (; number < std::min(end, count); ++number) {
                const auto frame = reader.next();
                ASSERT_TRUE(frame);
                EXPECT_EQ(numberOf(*frame), number);
                EXPECT_EQ(frame->time(), timeOf(number));
            }
        };
        const auto expectAt = [&](double time, unsigned number, Seek which = Seek::exact) {
            SCOPED_TRACE(testing::Message() << time << (which == Seek::keyFrame ? " (key frame)" : ""));
            reader.seek(time, which);
            if (which == Seek::keyFrame) number = *std::prev(std::ranges::upper_bound(keyFrames, number));
            expectNext(number, number + 3);
        };
        expectNext(0, count);
        for (int i = 0; i < 2; ++i) EXPECT_FALSE(reader.next());
        for (unsigned i = 0; i < count; ++i) {
            // Every frame, back and forth: at its very time, between it and the next, and just before that.
            const unsigned number = i * 37 % count;
            const double time = timeOf(number), next = number + 1 < count ? timeOf(number + 1) : 60;
            expectAt(time, number);
            expectAt(time, number, Seek::keyFrame);
            expectAt((time + next) / 2, number);
            expectAt(std::nextafter(next, 0), number);
            expectAt(std::nextafter(next, 0), number, Seek::keyFrame);
        }
        for (unsigned i = 0; i < count; i += 4) expectAt(timeOf(i), i);  // forwards
        for (const Seek which : {Seek::exact, Seek::keyFrame}) {
            for (const double early : {0.0, -5.0, 0.1, -std::numeric_limits<double>::infinity()})
                expectAt(early, 0, which);
            for (const double late : {timeOf(count - 1) + 0.01, 60.0, std::numeric_limits<double>::infinity()})
                expectAt(late, count - 1, which);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Codecs, VideoFiles,
                         testing::Values(VideoCodec::h264, VideoCodec::hevc, VideoCodec::prores),
                         [](const auto& instance) { return movies::nameOf(instance.param); });

TEST(BadVideoFiles, areRefusedWithAMessageThatNamesTheFile) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "folder.mp4");
    writeFile(folder / "empty.mp4", "");
    writeFile(folder / "text.mp4", "Not a movie.\n");
    writeFile(folder / "lines.txt", std::string(5000, '\n'));
    writeFile(folder / "garbage.mp4", std::string(100'000, '\xA7'));
    // A playlist would make the reader open whatever it names.
    writeFile(folder / "list.mp4", "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\nfile:///etc/passwd\n");
    for (const char* name :
         {"missing.mp4", "folder.mp4", "empty.mp4", "text.mp4", "lines.txt", "garbage.mp4", "list.mp4"}) {
        SCOPED_TRACE(name);
        std::string message;
        EXPECT_EQ(thrownBy([&] { VideoReader{folder / name}; }, &message), Kind::cannotOpen);
        EXPECT_EQ(message.find((folder / name).string()), 0U) << message;
        EXPECT_EQ(message.find('\n'), std::string::npos);
    }
    writeWave(folder / "sound.wav", {{std::vector<float>(100)}}, 48'000);
    EXPECT_EQ(thrownBy([&] { VideoReader{folder / "sound.wav"}; }), Kind::noVideoTrack);
}

TEST(BadVideoFiles, areReadUpToTheirDamageWhereverThatIs) {
    const TemporaryFolder folder;
    const auto file = folder / "video.mp4";
    movies::write(file, movies::steady(60, 10));
    const std::string whole = contentsOf(file);
    const std::size_t dataStart = whole.find("mdat") + 4;  // the index before it is complete
    std::size_t read = 0;
    for (std::size_t i = 0; i < 12; ++i) {
        // The last cuts are within the last bytes, so that only the last frame lacks some.
        const std::size_t size = i < 10 ? dataStart + (whole.size() - dataStart) * i / 10 : whole.size() - 20 + i;
        SCOPED_TRACE(size);
        writeFile(file, whole.substr(0, size));
        std::string message;
        const auto readInOrder = [&] {
            VideoReader reader(file);
            // Frames may be missing that are stored after later ones.
            unsigned next = 0;
            for (read = 0; const auto frame = reader.next(); ++read) {
                const auto number = numberOf(*frame);
                ASSERT_TRUE(number);
                EXPECT_GE(*number, next);
                next = *number + 1;
            }
        };
        EXPECT_EQ(thrownBy(readInOrder, &message), Kind::damaged);
        EXPECT_NE(message.find("video.mp4: "), std::string::npos);
    }
    EXPECT_GT(read, 40U);  // what is there is delivered first
    EXPECT_LT(read, 60U);

    // Cut in its index it cannot be opened.
    writeFile(file, whole.substr(0, dataStart / 2));
    EXPECT_EQ(thrownBy([&] { VideoReader{file}; }), Kind::cannotOpen);

    // As after a power cut: room for the data, but zeros instead.
    writeFile(file, whole.substr(0, whole.size() / 2) + std::string(whole.size() - whole.size() / 2, '\0'));
    EXPECT_EQ(thrownBy([&] { readAllFrames(file); }), Kind::damaged);

    std::uint32_t random = 1;
    for (int round = 0; round < 40; ++round) {  // none of them may crash
        std::string broken = whole;
        for (int i = 0; i < 8; ++i) {
            random = random * 1664525U + 1013904223U;
            broken[(random >> 8) % broken.size()] = static_cast<char>(random >> 3);
        }
        writeFile(file, broken);
        (void)thrownBy([&] { readAllFrames(file); });
        (void)thrownBy([&] {
            VideoReader reader(file);
            reader.seek(0.2);
            (void)reader.next();
        });
    }
}

}  // namespace
}  // namespace lumenwhirl
