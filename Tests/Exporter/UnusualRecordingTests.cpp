#include "Media/InputFile.h"
#include "Tests/Exporter/Recordings.h"
#include "Tests/Support/Audio.h"
#include "Tests/Support/ForeignMovies.h"
#include "Tests/Support/Movies.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <random>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace lumenwhirl {
namespace {

using Exporter::ExportError;
using movies::Foreign;
using recordings::framesOf;
using recordings::plainProject;
using recordings::Recording;
using recordings::Shown;

/// Recordings as other programs make them.
class UnusualRecording : public recordings::Exporting {
protected:
    /// One that changes nothing, and one that cuts 0.4 s.
    static std::array<ProjectSettings, 2> projects(double duration) {
        std::array<ProjectSettings, 2> all{plainProject(duration), plainProject(duration)};
        all[1].timeline.cuts = {{0.2, 0.6}};
        return all;
    }
    void expectRefusal(const std::string& problem) const {
        for (const ProjectSettings& settings : projects(1)) {
            try {
                exportTo(folder / "out.mp4", settings);
                ADD_FAILURE() << "no error";
            } catch (const ExportError& error) {
                EXPECT_EQ(error.kind(), ExportError::Kind::cannotCreateReader);
                EXPECT_EQ(error.what(), source.string() + ": " + problem);
            }
            EXPECT_EQ(filesLeft(), (std::set<std::string>{"recording.mp4"}));
        }
    }
    /// Copies the recording's pictures into another container, with their times changed or left out.
    void copyPictures(const std::filesystem::path& from, const char* container,
                      const std::function<void(AVPacket&, int)>& change) const {
        InputFile input(from, AVMEDIA_TYPE_VIDEO);
        const AVStream& stream = *input.firstStream(AVMEDIA_TYPE_VIDEO);
        OutputFile output(source, container);
        AVStream& to = output.addStream();
        movies::check(avcodec_parameters_copy(to.codecpar, stream.codecpar));
        to.codecpar->codec_tag = 0;
        to.time_base = stream.time_base;
        to.avg_frame_rate = stream.avg_frame_rate;
        output.context().avoid_negative_ts = AVFMT_AVOID_NEG_TS_DISABLED;
        Dictionary none;
        output.start(none);
        const PacketHandle packet = makePacket();
        for (int i = 0; input.read(*packet); ++i) {
            packet->stream_index = to.index;
            av_packet_rescale_ts(packet.get(), stream.time_base, to.time_base);
            change(*packet, i);
            output.write(*packet);
        }
        output.finish();
    }
};

/// The numbers that exported frames show, in order.
std::vector<unsigned> numbersOf(const std::vector<Shown>& frames) {
    std::vector<unsigned> numbers;
    for (const Shown& each : frames) numbers.push_back(each.number().value_or(~0U));
    return numbers;
}

TEST_F(UnusualRecording, ofUnevenFramesKeepsItsAudioInStep) {
    const std::vector<double> claps{0.5, 1.1, 1.7, 2.6};
    Recording uneven{.ticks = {}, .picture = {}, .timeBase = {1, 600}, .audio = {}};
    std::mt19937 random(5);
    for (std::int64_t tick = 0; tick < 1800; tick += 3 + random() % 60) uneven.ticks.push_back(tick);
    for (const double clap : claps) uneven.ticks.push_back(std::llround(clap * 600));
    std::sort(uneven.ticks.begin(), uneven.ticks.end());
    uneven.ticks.erase(std::unique(uneven.ticks.begin(), uneven.ticks.end()), uneven.ticks.end());
    uneven.picture = [&](unsigned number) {
        const double time = static_cast<double>(uneven.ticks[number]) / 600;
        for (const double clap : claps)
            if (time > clap - 1e-9 && time < clap + 0.1) return recordings::flat(235);
        return recordings::flat(16);
    };
    uneven.audio = AudioBuffer{{signals::bursts(3 * recordings::sampleRate, claps)}};
    record(uneven);
    ProjectSettings cut = plainProject(3);
    cut.timeline.cuts = {{0.8, 1.0}};
    for (const ProjectSettings& settings : {plainProject(3), cut}) {
        const EditTimeline timeline(settings.timeline);
        const auto frames = framesOf(exported(settings));
        const std::vector<long> heard = signals::onsets(readAll(folder / "out.mp4").channels.front());
        ASSERT_EQ(heard.size(), claps.size());
        std::size_t seen = 0;
        bool wasWhite = false;
        for (const Shown& each : frames) {
            const bool isWhite = each.frame.plane(0)[0] > 128;
            if (isWhite && !wasWhite) {
                ASSERT_LT(seen, claps.size());
                const double expected = timeline.outputTimeForSource(claps[seen]);
                const double audio = static_cast<double>(heard[seen]) / recordings::sampleRate;
                EXPECT_NEAR(audio, expected, 0.001);
                // At exactly the recorded time; on the grid, the first frame at or after it.
                EXPECT_NEAR(each.frame.time(), expected, timeline.isIdentity() ? 1e-9 : 1.0 / 24);
                ++seen;
            }
            wasWhite = isWhite;
        }
        EXPECT_EQ(seen, claps.size());
    }
}

TEST_F(UnusualRecording, withoutTimesPlaysAtItsFrameRate) {
    Recording picture{.ticks = {}, .picture = recordings::numbered, .timeBase = {1, 30}, .audio = {}};
    for (std::int64_t tick = 0; tick < 30; ++tick) picture.ticks.push_back(tick);
    recordings::write(folder / "picture.mp4", picture);
    copyPictures(folder / "picture.mp4", "h264", [](AVPacket&, int) {});  // an elementary stream has none
    std::filesystem::remove(folder / "picture.mp4");
    const double rate = VideoReader(source).info().frameRate;  // FFmpeg 5.1 finds 30, 7.1 takes its default of 25
    for (const ProjectSettings& settings : projects(1)) {
        const bool isCut = !settings.timeline.cuts.empty();
        const auto frames = framesOf(exported(settings));
        ASSERT_EQ(frames.size(), isCut ? static_cast<std::size_t>(0.6 * rate + 1e-6) : 30U);
        for (std::size_t i = 0; i < frames.size(); ++i) {
            const double time = static_cast<double>(i) / rate;
            EXPECT_NEAR(frames[i].frame.time(), time, 1e-5);
            const double shown = isCut && time > 0.2 - 1e-6 ? time + 0.4 : time;
            EXPECT_EQ(frames[i].number(), static_cast<unsigned>(shown * rate + 1e-3)) << i;
        }
    }
    // A GIF's colours are chosen from all over the file, but this one cannot seek.
    EXPECT_NO_THROW(static_cast<void>(exported(plainProject(1), {.preset = Preset::gif, .progress = {}})));
}

// As written by recorders that may be killed at any moment. The index at the start lists nothing.
TEST_F(UnusualRecording, thatIsAFragmentedMp4IsExportedToItsLastFrame) {
    Recording whole = recordings::steady(90, 30);
    const std::vector<double> beeps{0.5, 1.5};
    whole.audio = AudioBuffer{{signals::bursts(3 * recordings::sampleRate, beeps)}};
    recordings::write(folder / "whole.mp4", whole);
    const std::string toPieces = "ffmpeg -v error -y -i '" + (folder / "whole.mp4").string() +
                                 "' -c copy -frag_duration 500000 -movflags +empty_moov+default_base_moof '" +
                                 source.string() + "'";
    ASSERT_EQ(std::system(toPieces.c_str()), 0);
    std::filesystem::remove(folder / "whole.mp4");
    const auto frames = framesOf(exported(plainProject(3)));
    ASSERT_EQ(frames.size(), 90U);
    EXPECT_EQ(frames.back().number(), 89U);
    EXPECT_EQ(signals::onsets(readAll(folder / "out.mp4").channels.front()).size(), beeps.size());
}

TEST_F(UnusualRecording, withRepeatedOrDescendingTimesKeepsEveryFrameInOrder) {
    recordings::write(folder / "picture.mp4", recordings::steady(30, 30));
    for (const int shift : {33, 66, 300}) {  // ms: the time of the frame before, and of earlier ones
        SCOPED_TRACE(shift);
        copyPictures(folder / "picture.mp4", "matroska", [&](AVPacket& packet, int index) {
            packet.dts = packet.pts - 500;  // no file holds one that is shown before it is decoded
            if (index % 10 == 9) packet.pts -= shift;
        });
        const auto frames = framesOf(exported(plainProject(1)));
        std::vector<unsigned> all(30);
        for (unsigned i = 0; i < 30; ++i) all[i] = i;
        EXPECT_EQ(numbersOf(frames), all);
        for (std::size_t i = 0; i < frames.size(); ++i)
            EXPECT_NEAR(frames[i].frame.time(), static_cast<double>(i) / 30, 0.04);
        ProjectSettings settings = plainProject(1);
        settings.timeline.cuts = {{0.2, 0.6}};
        EXPECT_EQ(framesOf(exported(settings)).size(), 18U);
    }
    std::filesystem::remove(folder / "picture.mp4");
}

TEST_F(UnusualRecording, thatIsRotatedOrHasNonSquarePixelsIsRefused) {
    Foreign movie;
    movie.frames = 3;
    for (const AVRational shape : {AVRational{2, 1}, AVRational{64, 45}, AVRational{8, 9}}) {
        movie.describe = [&](AVCodecContext& codec) { codec.sample_aspect_ratio = shape; };
        movie.describeStream = [&](AVStream& stream) { stream.sample_aspect_ratio = shape; };
        movies::write(source, movie);
        expectRefusal("its pixels are not square; scale the picture to square ones first");
    }
    for (const AVRational shape : {AVRational{1, 1}, AVRational{361, 360}, AVRational{0, 1}}) {
        movie.describe = [&](AVCodecContext& codec) { codec.sample_aspect_ratio = shape; };
        movie.describeStream = [&](AVStream& stream) { stream.sample_aspect_ratio = shape; };
        movies::write(source, movie);
        EXPECT_EQ(framesOf(exported(plainProject(0.12))).size(), 3U);
    }
}

/// A colour as full-range R'G'B', and as it must be exported: BT.709, limited range, 8 bits.
struct Color {
    double red, green, blue;
    [[nodiscard]] std::array<double, 3> stored() const {  // Rec. ITU-R BT.709-6, items 3.2 to 3.4
        const double luma = 0.2126 * red + 0.7152 * green + 0.0722 * blue;
        return {16 + 219 * luma, 128 + 224 * (blue - luma) / 1.8556, 128 + 224 * (red - luma) / 1.5748};
    }
};
constexpr std::array colors{Color{1, 1, 1}, Color{0.8, 0.2, 0.2}, Color{0.1, 0.6, 0.3}, Color{0.2, 0.3, 0.9}};

/// One component of all samples of a colour, in the numbers of a pixel format.
double sampleOf(const Color& color, const AVPixFmtDescriptor& format, int component, bool isFullRange) {
    const double most = std::exp2(format.comp[component].depth) - 1;
    if ((format.flags & AV_PIX_FMT_FLAG_RGB) != 0)
        return most * (component == 0 ? color.red : component == 1 ? color.green : color.blue);
    const double limited = color.stored()[static_cast<std::size_t>(component)];
    const double scale = std::exp2(format.comp[component].depth - 8);
    if (!isFullRange) return limited * scale;
    return component == 0 ? (limited - 16) / 219 * most : (limited - 128) / 224 * most + 128 * scale;
}

void paintQuarters(AVFrame& frame, bool isFullRange) {
    const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    for (int component = 0; component < 3; ++component) {
        const AVComponentDescriptor& place = format.comp[component];
        const bool isChroma = component > 0 && (format.flags & AV_PIX_FMT_FLAG_RGB) == 0;
        const int width = isChroma ? -(-frame.width >> format.log2_chroma_w) : frame.width;
        const int height = isChroma ? -(-frame.height >> format.log2_chroma_h) : frame.height;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                const auto& color = colors[static_cast<std::size_t>(y >= height / 2) * 2 +
                                           static_cast<std::size_t>(x >= width / 2)];
                const auto value =
                    static_cast<unsigned>(std::lround(sampleOf(color, format, component, isFullRange)));
                std::uint8_t* sample =
                    frame.data[place.plane] + y * frame.linesize[place.plane] + x * place.step + place.offset;
                sample[0] = static_cast<std::uint8_t>(value);
                if (place.depth > 8) sample[1] = static_cast<std::uint8_t>(value >> 8);
            }
    }
}

class Pictures : public UnusualRecording,
                 public testing::WithParamInterface<std::tuple<AVPixelFormat, AVColorRange, int>> {};

TEST_P(Pictures, comeOutInTheirColors) {
    const auto [format, range, odd] = GetParam();
    const bool isFullRange = range == AVCOL_RANGE_JPEG;
    const bool isRgb = (av_pix_fmt_desc_get(format)->flags & AV_PIX_FMT_FLAG_RGB) != 0;
    Foreign movie;
    movie.format = format;
    if (format == AV_PIX_FMT_GBRP) movie.encoder = "utvideo";  // the only one that FFV1 does not support
    movie.width = 320 + odd;
    movie.height = 180 + odd;
    movie.frames = 25;
    movie.describe = [&](AVCodecContext& codec) {
        codec.color_range = range;
        if (!isRgb) codec.colorspace = AVCOL_SPC_BT709;
    };
    movie.paint = [&](AVFrame& frame, int) { paintQuarters(frame, isFullRange); };
    movies::write(source, movie);
    events.recording.display.pointWidth = events.recording.display.pixelWidth = movie.width;
    events.recording.display.pointHeight = events.recording.display.pixelHeight = movie.height;
    for (const ProjectSettings& settings : projects(1)) {
        const auto frames = framesOf(exported(settings));
        ASSERT_EQ(frames.size(), settings.timeline.cuts.empty() ? 25U : 15U);
        for (const std::size_t index : {std::size_t{0}, frames.size() - 1}) {
            const Picture& frame = frames[index].frame;
            EXPECT_EQ(frame.width() % 2, 0);
            EXPECT_NEAR(frame.width(), movie.width, 2);
            EXPECT_NEAR(frame.height(), movie.height, 2);
            for (std::size_t quarter = 0; quarter < colors.size(); ++quarter) {
                for (int plane = 0; plane < 3; ++plane) {
                    const int width = plane == 0 ? frame.width() : frame.width() / 2;
                    const int height = plane == 0 ? frame.height() : frame.height() / 2;
                    const int x = quarter % 2 == 0 ? width / 4 : width * 3 / 4;
                    const int y = quarter < 2 ? height / 4 : height * 3 / 4;
                    EXPECT_NEAR(frame.plane(plane)[y * frame.stride(plane) + x],
                                colors[quarter].stored()[static_cast<std::size_t>(plane)], 3)
                        << "quarter " << quarter << " plane " << plane;
                }
            }
        }
    }
}

constexpr AVColorRange limitedRange = AVCOL_RANGE_MPEG, fullRange = AVCOL_RANGE_JPEG;
INSTANTIATE_TEST_SUITE_P(
    UnusualRecording, Pictures,
    testing::Values(
        std::tuple{AV_PIX_FMT_YUV420P, limitedRange, 0}, std::tuple{AV_PIX_FMT_YUV420P, limitedRange, 1},
        std::tuple{AV_PIX_FMT_YUV420P, fullRange, 0}, std::tuple{AV_PIX_FMT_YUV422P, limitedRange, 0},
        std::tuple{AV_PIX_FMT_YUV444P, limitedRange, 1}, std::tuple{AV_PIX_FMT_YUV420P10LE, limitedRange, 0},
        std::tuple{AV_PIX_FMT_YUV420P10LE, fullRange, 1}, std::tuple{AV_PIX_FMT_YUV422P10LE, limitedRange, 0},
        std::tuple{AV_PIX_FMT_YUV444P10LE, fullRange, 0}, std::tuple{AV_PIX_FMT_YUV444P12LE, limitedRange, 0},
        std::tuple{AV_PIX_FMT_GBRP, fullRange, 1}, std::tuple{AV_PIX_FMT_GBRP10LE, fullRange, 0}));

}  // namespace
}  // namespace lumenwhirl
