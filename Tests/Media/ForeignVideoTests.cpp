#include "Media/MediaError.h"
#include "Media/VideoReader.h"
#include "Tests/Support/Files.h"
#include "Tests/Support/ForeignMovies.h"
#include "Tests/Support/Movies.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <optional>
#include <utility>
#include <vector>

extern "C" {
#include <libavutil/display.h>
#include <libavutil/pixdesc.h>
}

namespace lumenwhirl {
namespace {

using movies::Foreign;
using movies::thrownBy;

struct Weights {
    double red, blue;
};
constexpr Weights bt601{0.299, 0.114}, bt709{0.2126, 0.0722};  // ITU-R BT.601 and BT.709: luma of R'G'B'

using Color = std::array<double, 3>;  // R, G, B, 0...1

/// Y, Cb, Cr of a colour as codes of that many bits.
Color codesOf(const Color& rgb, Weights weights, bool isFullRange, int bits = 8) {
    const double luma = weights.red * rgb[0] + (1 - weights.red - weights.blue) * rgb[1] + weights.blue * rgb[2];
    const double blue = (rgb[2] - luma) / (2 - 2 * weights.blue), red = (rgb[0] - luma) / (2 - 2 * weights.red);
    const double scale = std::exp2(bits - 8), most = std::exp2(bits) - 1, middle = 128 * scale;
    if (isFullRange) return {most * luma, middle + most * blue, middle + most * red};
    return {scale * (16 + 219 * luma), middle + scale * 224 * blue, middle + scale * 224 * red};
}

struct ForeignColor {
    AVPixelFormat format;
    AVColorSpace matrix;
    AVColorRange range;
    Weights weights;
    int width = 160, height = 64;
};

/// Fills each quarter of a frame with one of these.
constexpr std::array<Color, 4> quarters{{{1, 1, 1}, {0.8, 0.3, 0.1}, {0.1, 0.6, 0.3}, {0.2, 0.3, 0.9}}};
void paintQuarters(AVFrame& frame, const ForeignColor& kind) {
    const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(kind.format);
    const bool isRgb = (format.flags & AV_PIX_FMT_FLAG_RGB) != 0;
    for (int component = 0; component < 3; ++component) {
        const AVComponentDescriptor& place = format.comp[component];
        const bool isChroma = component > 0 && !isRgb;
        const int width = isChroma ? -(-frame.width >> format.log2_chroma_w) : frame.width;
        const int height = isChroma ? -(-frame.height >> format.log2_chroma_h) : frame.height;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                Color color = quarters[(y < height / 2 ? 0U : 2U) + (x < width / 2 ? 0U : 1U)];
                if (isRgb) {
                    for (double& part : color) part *= std::exp2(place.depth) - 1;
                } else {
                    color = codesOf(color, kind.weights, kind.range == AVCOL_RANGE_JPEG, place.depth);
                }
                const auto code = std::lround(color[static_cast<std::size_t>(component)]);
                std::uint8_t* sample =
                    frame.data[place.plane] + y * frame.linesize[place.plane] + x * place.step + place.offset;
                sample[0] = static_cast<std::uint8_t>(code);
                if (place.depth > 8) sample[1] = static_cast<std::uint8_t>(code >> 8);
            }
        }
    }
}

class ForeignColors : public testing::TestWithParam<ForeignColor> {};

TEST_P(ForeignColors, becomeLimitedBt709WithoutAnOddRowOrColumn) {
    const ForeignColor& kind = GetParam();
    const TemporaryFolder folder;
    Foreign movie;
    movie.format = kind.format;
    if (kind.format == AV_PIX_FMT_GBRP) movie.encoder = "utvideo";  // the only one that FFV1 does not support
    movie.width = kind.width;
    movie.height = kind.height;
    movie.describe = [&](AVCodecContext& codec) {
        codec.colorspace = kind.matrix;
        codec.color_range = kind.range;
    };
    movie.paint = [&](AVFrame& frame, int) { paintQuarters(frame, kind); };
    movies::write(folder / "colour.mkv", movie);
    VideoReader reader(folder / "colour.mkv");
    EXPECT_EQ(reader.info().width, kind.width & ~1);
    EXPECT_EQ(reader.info().height, kind.height & ~1);
    const auto frame = reader.next();
    ASSERT_TRUE(frame);
    ASSERT_EQ(frame->width(), kind.width & ~1);
    ASSERT_EQ(frame->height(), kind.height & ~1);
    for (int plane = 0; plane < 3; ++plane) {
        const int width = frame->width() / (plane == 0 ? 1 : 2), height = frame->height() / (plane == 0 ? 1 : 2);
        const int toMiddle = 5;  // where the chroma of the two sides mixes
        for (const int y : {0, height - 1}) {
            for (const int x : {0, width / 2 - 1 - toMiddle, width / 2 + toMiddle, width - 1}) {
                const Color& color = quarters[(y == 0 ? 0U : 2U) + (x < width / 2 ? 0U : 1U)];
                EXPECT_NEAR(frame->plane(plane)[y * frame->stride(plane) + x],
                            codesOf(color, bt709, false)[static_cast<std::size_t>(plane)], 2)
                    << "plane " << plane << " at " << x << ", " << y;
            }
        }
    }
}

constexpr auto limited = AVCOL_RANGE_MPEG, full = AVCOL_RANGE_JPEG, noRange = AVCOL_RANGE_UNSPECIFIED;
constexpr auto hd = AVCOL_SPC_BT709, rgb = AVCOL_SPC_RGB, noMatrix = AVCOL_SPC_UNSPECIFIED;
INSTANTIATE_TEST_SUITE_P(Formats, ForeignColors,
                         testing::Values(ForeignColor{AV_PIX_FMT_YUV420P, hd, limited, bt709},
                                         ForeignColor{AV_PIX_FMT_YUV420P, hd, limited, bt709, 161, 65},
                                         ForeignColor{AV_PIX_FMT_YUV420P, hd, full, bt709},
                                         ForeignColor{AV_PIX_FMT_YUV420P, AVCOL_SPC_SMPTE170M, full, bt601},
                                         ForeignColor{AV_PIX_FMT_YUV420P, AVCOL_SPC_BT470BG, limited, bt601},
                                         ForeignColor{AV_PIX_FMT_YUV420P, noMatrix, noRange, bt601, 160, 718},
                                         ForeignColor{AV_PIX_FMT_YUV420P, noMatrix, noRange, bt709, 160, 720},
                                         ForeignColor{AV_PIX_FMT_YUV422P, hd, limited, bt709},
                                         ForeignColor{AV_PIX_FMT_YUV444P, hd, limited, bt709, 161, 65},
                                         ForeignColor{AV_PIX_FMT_YUV420P10LE, hd, limited, bt709},
                                         ForeignColor{AV_PIX_FMT_YUV420P10LE, hd, full, bt709, 161, 65},
                                         ForeignColor{AV_PIX_FMT_YUV422P10LE, hd, limited, bt709},
                                         ForeignColor{AV_PIX_FMT_YUV444P10LE, hd, full, bt709},
                                         ForeignColor{AV_PIX_FMT_YUV444P12LE, hd, limited, bt709},
                                         ForeignColor{AV_PIX_FMT_BGR0, rgb, full, bt709},
                                         ForeignColor{AV_PIX_FMT_GBRP, rgb, full, bt709, 161, 65},
                                         ForeignColor{AV_PIX_FMT_GBRP10LE, rgb, full, bt709}));

TEST(ForeignVideo, chromaLandsOnTheLeftLumaSample) {
    const TemporaryFolder folder;
    Foreign movie;
    movie.format = AV_PIX_FMT_BGR0;
    movie.paint = [](AVFrame& frame, int) {
        for (int y = 0; y < frame.height; ++y) {
            for (int x = 0; x < frame.width; ++x) {
                const auto blue = static_cast<std::uint8_t>(20 + x);  // rises by 1 a pixel
                std::uint8_t* pixel = frame.data[0] + y * frame.linesize[0] + 4 * x;
                std::copy_n(std::array<std::uint8_t, 4>{blue, 100, 100, 0}.data(), 4, pixel);
            }
        }
    };
    movies::write(folder / "ramp.mkv", movie);
    const auto frame = VideoReader(folder / "ramp.mkv").next();
    ASSERT_TRUE(frame);
    double error = 0;
    for (int x = 10; x < 70; ++x) {
        const auto expected = codesOf({100 / 255.0, 100 / 255.0, (20 + 2 * x) / 255.0}, bt709, false);
        error += frame->plane(1)[20 * frame->stride(1) + x] - expected[1];
    }
    // Half a pixel to the right would add half of 224 / 255 / 1.8556 * 0.9278, 0.22; rounding averages out.
    EXPECT_NEAR(error / 60, 0, 0.11);
}

TEST(ForeignVideo, nonSquarePixelsTurnedVideoAndAChangeOfSizeAreRefused) {
    const TemporaryFolder folder;
    // A hair's breadth is allowed, which some encoders write where a size was rounded.
    const std::vector<std::pair<AVRational, bool>> shapes{{{2, 1}, false},    {{64, 45}, false}, {{8, 9}, false},
                                                          {{361, 360}, true}, {{1, 1}, true},    {{0, 1}, true}};
    for (const auto& [pixel, isTaken] : shapes) {
        const AVRational shape = pixel;
        Foreign movie;
        movie.describe = [&](AVCodecContext& codec) { codec.sample_aspect_ratio = shape; };
        movie.describeStream = [&](AVStream& stream) { stream.sample_aspect_ratio = shape; };
        movies::write(folder / "shape.mkv", movie);
        EXPECT_EQ(thrownBy([&] { VideoReader{folder / "shape.mkv"}; }),
                  isTaken ? std::nullopt : std::optional(MediaError::Kind::unsupported))
            << shape.num << ":" << shape.den;
    }
    for (const AVColorTransferCharacteristic transfer : {AVCOL_TRC_SMPTE2084, AVCOL_TRC_ARIB_STD_B67}) {
        Foreign bright;  // HDR: shown as if it were not, it would be grey
        bright.describe = [&](AVCodecContext& codec) { codec.color_trc = transfer; };
        movies::write(folder / "hdr.mkv", bright);
        EXPECT_EQ(thrownBy([&] { VideoReader{folder / "hdr.mkv"}; }), MediaError::Kind::unsupported);
    }
    Foreign turned;
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
    EXPECT_EQ(thrownBy([&] { VideoReader{folder / "turned.mov"}; }), MediaError::Kind::unsupported);

    // Streams without a container can simply be concatenated.
    Foreign bare;
    bare.container = "h264";
    bare.encoder = "libx264";
    bare.frames = 60;
    movies::write(folder / "first.h264", bare);
    bare.width = 320;
    movies::write(folder / "second.h264", bare);
    writeFile(folder / "both.h264", contentsOf(folder / "first.h264") + contentsOf(folder / "second.h264"));
    EXPECT_EQ(thrownBy([&] { movies::readAllFrames(folder / "both.h264"); }), MediaError::Kind::unsupported);
}

}  // namespace
}  // namespace lumenwhirl
