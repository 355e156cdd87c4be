#include "Media/InputFile.h"
#include "Media/LiveWriter.h"
#include "Media/MediaError.h"
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
#include <fstream>
#include <iterator>
#include <limits>
#include <map>
#include <string>
#include <vector>

extern "C" {
#include <libavutil/display.h>
}

namespace lumenwhirl {
namespace {

using Kind = MediaError::Kind;
using movies::numberOf;
using movies::thrownBy;

std::size_t readAllFrames(VideoReader& reader) {
    std::size_t count = 0;
    while (reader.next()) ++count;
    return count;
}

class VideoFiles : public testing::TestWithParam<VideoCodec> {
protected:
    TemporaryFolder folder;
    std::filesystem::path file = folder / "video.mp4";
};

TEST_P(VideoFiles, everyFrameComesBackAtItsExactTime) {
    // Irregular, with gaps of one tick and of seconds; reordered by the encoder.
    std::vector<std::int64_t> ticks;
    for (std::int64_t i = 0, at = 0; i < 60; ++i)
        ticks.push_back(at += 1 + (i * 37) % 23 + (i % 19 == 7 ? 1500 : 0));
    movies::write(file, ticks, movies::settings(GetParam()));

    VideoReader reader(file);
    for (std::size_t i = 0; i < ticks.size(); ++i) {
        const auto frame = reader.next();
        ASSERT_TRUE(frame);
        EXPECT_EQ(numberOf(*frame), i);
        EXPECT_EQ(frame->time(), static_cast<double>(ticks[i]) / 600);
        EXPECT_EQ(frame->pts() * reader.info().timeBase.numerator * 600,
                  ticks[i] * reader.info().timeBase.denominator);
    }
    EXPECT_FALSE(reader.next());
    EXPECT_FALSE(reader.next());
}

TEST_P(VideoFiles, aSteadyFileIsAsLongAsItsFramesAndTaggedForTheWeb) {
    auto settings = movies::settings(GetParam());
    settings.bitRate = 200'000;
    settings.keyFrameInterval = 30;
    movies::write(file, movies::steady(150, 10), settings);

    VideoReader reader(file);
    const auto& info = reader.info();
    EXPECT_EQ(info.width, movies::width);
    EXPECT_EQ(info.height, movies::height);
    EXPECT_EQ(info.frameRate, 60);
    EXPECT_NEAR(info.duration, 2.5, 1e-9);
    EXPECT_FALSE(info.hasAudio);

    InputFile input(file);
    AVStream& stream = input.requiredStream(AVMEDIA_TYPE_VIDEO);
    const bool isProres = GetParam() == VideoCodec::prores;
    EXPECT_EQ(stream.codecpar->codec_tag, isProres                         ? MKTAG('a', 'p', 'c', 'n')
                                          : GetParam() == VideoCodec::hevc ? MKTAG('h', 'v', 'c', '1')
                                                                           : MKTAG('a', 'v', 'c', '1'));
    EXPECT_EQ(stream.nb_frames, 150);
    EXPECT_EQ(stream.codecpar->color_primaries, AVCOL_PRI_BT709);
    EXPECT_EQ(stream.codecpar->color_trc, AVCOL_TRC_BT709);
    EXPECT_EQ(stream.codecpar->color_space, AVCOL_SPC_BT709);
    // ProRes has no other range, and QuickTime's colr box none at all: libavformat 7.1 leaves it unspecified.
    if (!isProres || stream.codecpar->color_range != AVCOL_RANGE_UNSPECIFIED) {
        EXPECT_EQ(stream.codecpar->color_range, AVCOL_RANGE_MPEG);
    }
    const std::string content = contentsOf(file);
    EXPECT_LT(content.find("moov"), content.find("mdat"));
    if (isProres) {
        EXPECT_EQ(content.substr(4, 8), "ftypqt  ");
        EXPECT_NE(content.find("colrnclc"), std::string::npos);
        EXPECT_EQ(stream.codecpar->format, AV_PIX_FMT_YUV422P10LE);
        EXPECT_EQ(stream.codecpar->field_order, AV_FIELD_PROGRESSIVE);
        return;  // its quality is fixed, and every frame a key frame
    }
    EXPECT_EQ(stream.codecpar->chroma_location, AVCHROMA_LOC_LEFT);
    for (int i = 0, lastKeyFrame = 0; i < avformat_index_get_entries_count(&stream); ++i) {
        if ((avformat_index_get_entry(&stream, i)->flags & AVINDEX_KEYFRAME) != 0) lastKeyFrame = i;
        EXPECT_LE(i - lastKeyFrame, 33);  // 30 as shown; up to 3 reordered ones may be stored behind the key frame
    }
    // Both the bit stream and the container state the colour space; the latter in a colr box.
    EXPECT_NE(content.find("colrnclx"), std::string::npos);
    // Small frames keep to a rate only roughly: this catches a rate per tick instead of per frame.
    EXPECT_NEAR(static_cast<double>(content.size()) * 8 / 2.5, 200'000, 100'000);
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

TEST_P(VideoFiles, seekingGivesTheNewestFrameOrKeyFrameAtOrBeforeEachTime) {
    using Seek = VideoReader::Seek;
    auto settings = movies::settings(GetParam());
    settings.keyFrameInterval = 25;
    std::vector<std::int64_t> ticks;  // uneven, the first at 0.2 s
    for (std::int64_t i = 0, at = 116; i < 90; ++i) ticks.push_back(at += 4 + i * 7 % 13);
    for (const bool isFragmented : {false, true}) {
        if (isFragmented && GetParam() == VideoCodec::prores) continue;
        SCOPED_TRACE(isFragmented);
        if (!isFragmented) {
            movies::write(file, ticks, settings);
        } else {
            LiveWriter writer(file, settings);
            writer.start(std::nullopt);
            for (unsigned i = 0; i < ticks.size(); ++i) {
                writer.write(movies::numbered(i), ticks[i]);
                if (i % 10 == 9) writer.flush();
            }
            writer.finish();
        }
        const std::vector<unsigned> keyFrames = keyFramesOf(file, ticks);
        ASSERT_GE(keyFrames.size(), 3U);
        VideoReader reader(file);
        const auto expectAt = [&](double time, unsigned number, Seek which = Seek::exact) {
            SCOPED_TRACE(testing::Message() << time << (which == Seek::keyFrame ? " (key frame)" : ""));
            reader.seek(time, which);
            if (which == Seek::keyFrame) number = *std::prev(std::ranges::upper_bound(keyFrames, number));
            for (unsigned i = number; i < std::min<std::size_t>(number + 3, ticks.size()); ++i) {
                const auto frame = reader.next();
                ASSERT_TRUE(frame);
                EXPECT_EQ(numberOf(*frame), i);
                EXPECT_EQ(frame->time(), static_cast<double>(ticks[i]) / 600);
            }
        };
        for (unsigned i = 0; i < ticks.size(); ++i) {
            // Every frame, back and forth: at its very time, between it and the next, and just before that.
            const auto number = static_cast<unsigned>(i * 37 % ticks.size());
            const double time = static_cast<double>(ticks[number]) / 600;
            const double next = number < 89 ? static_cast<double>(ticks[number + 1]) / 600 : 60;
            expectAt(time, number);
            expectAt(time, number, Seek::keyFrame);
            expectAt((time + next) / 2, number);
            expectAt(std::nextafter(next, 0), number);
            expectAt(std::nextafter(next, 0), number, Seek::keyFrame);
        }
        for (unsigned i = 0; i < ticks.size(); i += 4)
            expectAt(static_cast<double>(ticks[i]) / 600, i);  // forwards
        for (const Seek which : {Seek::exact, Seek::keyFrame}) {
            for (const double early : {0.0, -5.0, 0.1, -std::numeric_limits<double>::infinity()})
                expectAt(early, 0, which);
            for (const double late : {1.7, 60.0, std::numeric_limits<double>::infinity()})
                expectAt(late, 89, which);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Codecs, VideoFiles,
                         testing::Values(VideoCodec::h264, VideoCodec::hevc, VideoCodec::prores),
                         [](const auto& instance) { return movies::nameOf(instance.param); });

// Colours

struct Weights {
    double red, blue;
};
constexpr Weights bt601{0.299, 0.114}, bt709{0.2126, 0.0722};  // ITU-R BT.601 and BT.709: luma of R'G'B'

/// Y, Cb, Cr of a colour of 0...1, as 8-bit codes.
std::array<double, 3> codesOf(std::array<double, 3> rgb, Weights weights, bool isFullRange) {
    const double luma = weights.red * rgb[0] + (1 - weights.red - weights.blue) * rgb[1] + weights.blue * rgb[2];
    const double blue = (rgb[2] - luma) / (2 - 2 * weights.blue), red = (rgb[0] - luma) / (2 - 2 * weights.red);
    if (isFullRange) return {255 * luma, 128 + 255 * blue, 128 + 255 * red};
    return {16 + 219 * luma, 128 + 224 * blue, 128 + 224 * red};
}

constexpr std::array orange = {0.8, 0.3, 0.1};

struct ForeignColor {
    const char* name;
    AVPixelFormat format;
    AVColorSpace matrix;
    AVColorRange range;
    Weights weights;
    int height = 64;
};

class ForeignColors : public testing::TestWithParam<ForeignColor> {};

TEST_P(ForeignColors, becomeLimitedBt709) {
    const auto& source = GetParam();
    const TemporaryFolder folder;
    movies::Foreign movie;
    movie.format = source.format;
    movie.height = source.height;
    movie.describe = [&](AVCodecContext& codec) {
        codec.colorspace = source.matrix;
        codec.color_range = source.range;
    };
    movie.paint = [&](AVFrame& frame, int) {
        const bool isRgb = source.format == AV_PIX_FMT_BGR0;
        const auto codes = codesOf(orange, source.weights, source.range == AVCOL_RANGE_JPEG);
        for (int plane = 0; plane < (isRgb ? 1 : 3); ++plane) {
            const int rows = plane > 0 && source.format != AV_PIX_FMT_YUV444P ? frame.height / 2 : frame.height;
            const double code = codes[static_cast<std::size_t>(plane)];
            for (int y = 0; y < rows; ++y) {
                std::uint8_t* row = frame.data[plane] + y * frame.linesize[plane];
                if (source.format == AV_PIX_FMT_YUV420P10LE) {
                    auto* wide = reinterpret_cast<std::uint16_t*>(row);
                    std::fill(wide, wide + frame.linesize[plane] / 2,
                              static_cast<std::uint16_t>(std::lround(4 * code)));
                } else if (isRgb) {
                    for (int i = 0; i < frame.linesize[0]; ++i) {
                        row[i] =
                            i % 4 == 3 ? 0 : static_cast<std::uint8_t>(std::lround(255 * orange[2UL - i % 4]));
                    }
                } else {
                    std::fill(row, row + frame.linesize[plane], static_cast<std::uint8_t>(std::lround(code)));
                }
            }
        }
    };
    movies::write(folder / "colour.mkv", movie);

    VideoReader reader(folder / "colour.mkv");
    const auto frame = reader.next();
    ASSERT_TRUE(frame);
    const auto expected = codesOf(orange, bt709, false);
    for (int plane = 0; plane < 3; ++plane) {
        for (const int at : {0, 31, 63}) {  // the edges must not differ
            const auto code = frame->plane(plane)[(plane == 0 ? 63 : 31) * frame->stride(plane) + at];
            EXPECT_NEAR(code, expected[static_cast<std::size_t>(plane)], 2) << "plane " << plane << " at " << at;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, ForeignColors,
    testing::Values(ForeignColor{"bt709", AV_PIX_FMT_YUV420P, AVCOL_SPC_BT709, AVCOL_RANGE_MPEG, bt709},
                    ForeignColor{"fullRange", AV_PIX_FMT_YUV420P, AVCOL_SPC_BT709, AVCOL_RANGE_JPEG, bt709},
                    ForeignColor{"fullRangeBt601", AV_PIX_FMT_YUV420P, AVCOL_SPC_SMPTE170M, AVCOL_RANGE_JPEG,
                                 bt601},
                    ForeignColor{"bt601", AV_PIX_FMT_YUV420P, AVCOL_SPC_BT470BG, AVCOL_RANGE_MPEG, bt601},
                    ForeignColor{"untaggedSmall", AV_PIX_FMT_YUV420P, AVCOL_SPC_UNSPECIFIED,
                                 AVCOL_RANGE_UNSPECIFIED, bt601, 718},
                    ForeignColor{"untaggedLarge", AV_PIX_FMT_YUV420P, AVCOL_SPC_UNSPECIFIED,
                                 AVCOL_RANGE_UNSPECIFIED, bt709, 720},
                    ForeignColor{"tenBits", AV_PIX_FMT_YUV420P10LE, AVCOL_SPC_BT709, AVCOL_RANGE_MPEG, bt709},
                    ForeignColor{"fullChroma", AV_PIX_FMT_YUV444P, AVCOL_SPC_BT709, AVCOL_RANGE_MPEG, bt709},
                    ForeignColor{"rgb", AV_PIX_FMT_BGR0, AVCOL_SPC_RGB, AVCOL_RANGE_JPEG, bt709}),
    [](const auto& instance) { return instance.param.name; });

TEST(ForeignVideo, chromaLandsOnTheLeftLumaSample) {
    const TemporaryFolder folder;
    movies::Foreign movie;
    movie.format = AV_PIX_FMT_BGR0;
    movie.paint = [](AVFrame& frame, int) {
        for (int y = 0; y < frame.height; ++y) {
            for (int x = 0; x < frame.width; ++x) {
                std::uint8_t* pixel = frame.data[0] + y * frame.linesize[0] + 4 * x;
                pixel[0] = static_cast<std::uint8_t>(20 + x);  // blue rises by 1 a pixel
                pixel[1] = pixel[2] = 100;
                pixel[3] = 0;
            }
        }
    };
    movies::write(folder / "ramp.mkv", movie);
    VideoReader reader(folder / "ramp.mkv");
    const auto frame = reader.next();
    ASSERT_TRUE(frame);
    double error = 0;
    for (int x = 10; x < 70; ++x) {
        const auto expected = codesOf({100 / 255.0, 100 / 255.0, (20 + 2 * x) / 255.0}, bt709, false);
        error += frame->plane(1)[20 * frame->stride(1) + x] - expected[1];
    }
    // Half a pixel to the right would add half of 224 / 255 / 1.8556 * 0.9278, 0.22; rounding averages out.
    EXPECT_NEAR(error / 60, 0, 0.11);
}

TEST(ForeignVideo, anOddRowAndColumnAreLeftOut) {
    const TemporaryFolder folder;
    for (const auto format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV444P}) {
        movies::Foreign movie;
        movie.format = format;
        movie.width = 161;
        movie.height = 65;
        movie.frames = 3;
        movie.describe = [](AVCodecContext& codec) { codec.colorspace = AVCOL_SPC_BT709; };
        movie.paint = [](AVFrame& frame, int number) {
            const Picture picture = movies::numbered(static_cast<unsigned>(number));
            for (int plane = 0; plane < 3; ++plane) {
                std::fill_n(frame.data[plane], static_cast<std::size_t>(frame.linesize[plane]) * 33,
                            std::uint8_t{128});
            }
            for (int y = 0; y < picture.height(); ++y) {
                std::copy_n(picture.plane(0) + y * picture.stride(0), picture.width(),
                            frame.data[0] + y * frame.linesize[0]);
            }
        };
        movies::write(folder / "odd.mkv", movie);
        VideoReader reader(folder / "odd.mkv");
        EXPECT_EQ(reader.info().width, 160);
        EXPECT_EQ(reader.info().height, 64);
        for (unsigned i = 0; i < 3; ++i) {
            const auto frame = reader.next();
            ASSERT_TRUE(frame);
            EXPECT_EQ(frame->width(), 160);
            EXPECT_EQ(frame->height(), 64);
            EXPECT_EQ(numberOf(*frame), i);
        }
    }
}

TEST(ForeignVideo, turnedVideoAndAChangeOfSizeAreRefused) {
    const TemporaryFolder folder;
    movies::Foreign turned;
    turned.container = "mov";
    turned.encoder = "libx264";
    turned.describeStream = [](AVStream& stream) {
        constexpr std::size_t size = 9 * sizeof(std::int32_t);
#if LIBAVFORMAT_VERSION_INT >= AV_VERSION_INT(60, 15, 100)
        auto* data =
            av_packet_side_data_new(&stream.codecpar->coded_side_data, &stream.codecpar->nb_coded_side_data,
                                    AV_PKT_DATA_DISPLAYMATRIX, size, 0)
                ->data;
#else
        auto* data = av_stream_new_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, size);
#endif
        av_display_rotation_set(reinterpret_cast<std::int32_t*>(data), 90);
    };
    movies::write(folder / "turned.mov", turned);
    EXPECT_EQ(thrownBy([&] { VideoReader{folder / "turned.mov"}; }), Kind::unsupported);

    // Streams without a container can simply be concatenated.
    movies::Foreign bare;
    bare.container = "h264";
    bare.encoder = "libx264";
    bare.frames = 60;
    movies::write(folder / "first.h264", bare);
    bare.width = 320;
    movies::write(folder / "second.h264", bare);
    writeFile(folder / "both.h264", contentsOf(folder / "first.h264") + contentsOf(folder / "second.h264"));
    EXPECT_EQ(thrownBy([&] {
                  VideoReader reader(folder / "both.h264");
                  readAllFrames(reader);
              }),
              Kind::unsupported);
}

// Bad files

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
    AudioBuffer audio;
    audio.channels.assign(1, std::vector<float>(100));
    writeWave(folder / "sound.wav", audio, 48'000);
    EXPECT_EQ(thrownBy([&] { VideoReader{folder / "sound.wav"}; }), Kind::noVideoTrack);
}

TEST(BadVideoFiles, aNameWithAColonIsNotAProtocol) {
    const TemporaryFolder folder;
    const auto old = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    movies::write("http:movie %d.mp4", movies::steady(2, 10));
    VideoReader reader("http:movie %d.mp4");
    EXPECT_EQ(readAllFrames(reader), 2U);
    std::filesystem::current_path(old);
}

TEST(BadVideoFiles, aTrackWithoutFramesIsSimplyAtItsEnd) {
    const TemporaryFolder folder;
    Dictionary options{{"movflags", "empty_moov+frag_keyframe"}};
    movies::Foreign movie;
    movie.container = "mp4";
    movie.encoder = "libx264";
    movie.frames = 0;
    movie.muxerOptions = &options;
    movies::write(folder / "none.mp4", movie);
    VideoReader reader(folder / "none.mp4");
    EXPECT_EQ(reader.info().width, 160);
    EXPECT_EQ(reader.info().height, 64);
    EXPECT_EQ(reader.info().duration, 0);
    EXPECT_FALSE(reader.next());
    reader.seek(3);
    EXPECT_FALSE(reader.next());
}

TEST(BadVideoFiles, aFileCutAnywhereIsDamaged) {
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
        EXPECT_EQ(thrownBy(
                      [&] {
                          VideoReader reader(file);
                          // In order; but frames may be missing that are stored after later ones.
                          unsigned next = 0;
                          for (read = 0; const auto frame = reader.next(); ++read) {
                              const auto number = numberOf(*frame);
                              ASSERT_TRUE(number);
                              EXPECT_GE(*number, next);
                              next = *number + 1;
                          }
                      },
                      &message),
                  Kind::damaged);
        EXPECT_NE(message.find("video.mp4: "), std::string::npos);
    }
    EXPECT_GT(read, 40U);  // what is there is delivered first
    EXPECT_LT(read, 60U);

    // Cut in its index it cannot be opened.
    writeFile(file, whole.substr(0, dataStart / 2));
    EXPECT_EQ(thrownBy([&] { VideoReader{file}; }), Kind::cannotOpen);
}

TEST(BadVideoFiles, damageInsideIsReportedAndNeverCrashes) {
    const TemporaryFolder folder;
    const auto file = folder / "video.mp4";
    movies::write(file, movies::steady(30, 10));
    const std::string whole = contentsOf(file);
    // As after a power cut: room for the data, but zeros instead.
    std::string zeros = whole;
    std::fill(zeros.begin() + static_cast<std::ptrdiff_t>(zeros.size() / 2), zeros.end(), '\0');
    writeFile(file, zeros);
    EXPECT_EQ(thrownBy([&] {
                  VideoReader reader(file);
                  readAllFrames(reader);
              }),
              Kind::damaged);

    std::uint32_t random = 1;
    for (int round = 0; round < 40; ++round) {
        std::string broken = whole;
        for (int i = 0; i < 8; ++i) {
            random = random * 1664525U + 1013904223U;
            broken[(random >> 8) % broken.size()] = static_cast<char>(random >> 3);
        }
        writeFile(file, broken);
        (void)thrownBy([&] {
            VideoReader reader(file);
            EXPECT_LE(readAllFrames(reader), 2000U);
            reader.seek(0.2);
            (void)reader.next();
        });
    }
}

// Writing

TEST(VideoWriter, putsTheIndexLastIfAsked) {
    const TemporaryFolder folder;
    VideoSettings settings = movies::settings();
    settings.layout = FileLayout::indexLast;
    movies::write(folder / "video.mp4", movies::steady(20, 10), settings);
    const std::string content = contentsOf(folder / "video.mp4");
    EXPECT_GT(content.find("moov"), content.find("mdat"));
    VideoReader reader(folder / "video.mp4");
    EXPECT_EQ(readAllFrames(reader), 20U);
}

TEST(VideoWriter, removesAnUnfinishedFileAndReplacesAnOlderOne) {
    const TemporaryFolder folder;
    const auto file = folder / "video.mp4";
    writeFile(file, "older");
    {
        VideoWriter writer(file, movies::settings());
        for (unsigned i = 0; i < 100; ++i) writer.write(movies::numbered(i), i * 10);
    }
    EXPECT_TRUE(folder.isEmpty());
    writeFile(file, "older");
    movies::write(file, movies::steady(3, 10));
    VideoReader reader(file);
    EXPECT_EQ(readAllFrames(reader), 3U);
}

TEST(VideoWriter, refusesWhatItCannotEncodeBeforeAnyFileIsTouched) {
    const TemporaryFolder folder;
    const auto file = folder / "video.mp4";
    writeFile(file, "older");
    auto settings = movies::settings();
    settings.width = 161;
    EXPECT_EQ(thrownBy([&] { VideoWriter{file, settings}; }), Kind::unsupported);
    settings = movies::settings();
    settings.software.preset = "warp";
    EXPECT_EQ(thrownBy([&] { VideoWriter{file, settings}; }), Kind::encoderFailed);
    EXPECT_EQ(thrownBy([&] {
                  VideoWriter{file, movies::settings(), AudioSettings{.sampleRate = 12'345}};
              }),
              Kind::unsupported);
    EXPECT_EQ(contentsOf(file), "older");
    EXPECT_EQ(thrownBy([&] {
                  VideoWriter{folder / "missing" / "video.mp4", movies::settings()};
              }),
              Kind::cannotWrite);
    EXPECT_EQ(thrownBy([&] { VideoWriter{folder.path(), movies::settings()}; }), Kind::cannotWrite);
}

TEST(VideoWriter, leavesNoFileOnAFullDisk) {
    const TemporaryFolder folder;
    const auto file = folder / "video.mp4";
    movies::write(folder / "size.mp4", movies::steady(100, 10));
    const auto size = std::filesystem::file_size(folder / "size.mp4");
    std::filesystem::remove(folder / "size.mp4");
    // Full at once, in the middle, and only when the index is written and the data moved after it.
    for (const auto limit : {std::uintmax_t{0}, size / 2, size - 200}) {
        SCOPED_TRACE(limit);
        EXPECT_TRUE(holdsOnFullDisk(limit, [&] {
            std::string message;
            const auto kind = thrownBy([&] { movies::write(file, movies::steady(100, 10)); }, &message);
            return kind == Kind::cannotWrite && message.find("File too large") != std::string::npos;
        }));
        EXPECT_TRUE(folder.isEmpty());
    }
}

TEST(Picture, isUnsharedWhileNeitherACopyNorTheEncoderRefersToIt) {
    const TemporaryFolder folder;
    Picture frame = movies::numbered(1);
    EXPECT_TRUE(frame.isUnshared());
    {
        const Picture copy = frame;
        EXPECT_FALSE(frame.isUnshared());
        EXPECT_EQ(copy.plane(0), frame.plane(0));
    }
    EXPECT_TRUE(frame.isUnshared());
    VideoWriter writer(folder / "video.mp4", movies::settings());
    writer.write(frame, 0);
    EXPECT_FALSE(frame.isUnshared());
    writer.finish();
    EXPECT_TRUE(frame.isUnshared());
}

}  // namespace
}  // namespace lumenwhirl
