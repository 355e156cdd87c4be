#include "Media/InputFile.h"
#include "Media/MediaError.h"
#include "Media/PixelBuffers.h"
#include "Media/StreamDecoder.h"
#include "Media/VideoEncoder.h"
#include "Media/VideoReader.h"
#include "Tests/Support/Files.h"
#include "Tests/Support/ForeignMovies.h"
#include "Tests/Support/Movies.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace lumenwhirl {
namespace {

/// A frame of 10 bits with the codes of `codeAt` (plane, x, y).
Picture painted(int width, int height, const std::function<int(int, int, int)>& codeAt) {
    Picture frame(width, height, PixelFormat::yuv422p10);
    for (int plane = 0; plane < 3; ++plane) {
        for (int y = 0; y < height; ++y) {
            auto* row = reinterpret_cast<std::uint16_t*>(frame.mutablePlane(plane) + y * frame.stride(plane));
            for (int x = 0; x < (plane == 0 ? width : width / 2); ++x)
                row[x] = static_cast<std::uint16_t>(codeAt(plane, x, y));
        }
    }
    return frame;
}

/// The largest difference in codes that ProRes makes to a frame, and the root mean square.
std::pair<int, double> changeBy(const Picture& frame) {
    const TemporaryFolder folder;
    VideoSettings settings = movies::settings(VideoCodec::prores);
    settings.width = frame.width();
    settings.height = frame.height();
    movies::write(folder / "video.mov", {{0, 10, 20}, [&](unsigned) { return frame; }, settings});
    InputFile input(folder / "video.mov");
    StreamDecoder decoder(input, input.requiredStream(AVMEDIA_TYPE_VIDEO));
    const FrameHandle back = makeFrame();  // as it is stored, without VideoReader's conversion
    EXPECT_TRUE(decoder.receive(*back));
    EXPECT_EQ(back->format, AV_PIX_FMT_YUV422P10LE);
    int largest = 0, count = 0;
    double squares = 0;
    for (int plane = 0; plane < 3; ++plane) {
        for (int y = 0; y < frame.height(); ++y) {
            const auto* was = reinterpret_cast<const std::uint16_t*>(frame.plane(plane) + y * frame.stride(plane));
            const auto* is = reinterpret_cast<const std::uint16_t*>(back->data[plane] + y * back->linesize[plane]);
            for (int x = 0; x < (plane == 0 ? frame.width() : frame.width() / 2); ++x, ++count) {
                const int difference = std::abs(was[x] - is[x]);
                largest = std::max(largest, difference);
                squares += difference * difference;
            }
        }
    }
    return {largest, std::sqrt(squares / count)};
}

TEST(ProRes, keepsTenBitsAllChromaRowsAndFramesFarBeyondItsNominalRate) {
    // Gradients of less than an 8-bit step a pixel; chroma that differs from row to row, which 4:2:0 cannot hold.
    const auto slopes = painted(256, 64, [](int plane, int x, int y) {
        return plane == 0 ? 300 + x : 400 + plane * 40 + (y % 2 == 0 ? 40 : 0);
    });
    EXPECT_LE(changeBy(slopes).first, 3);
    // A size that is not a multiple of the blocks.
    EXPECT_LE(changeBy(painted(70, 34, [](int plane, int, int y) { return 400 + 50 * plane + 2 * y; })).first, 3);
    // Noise over the whole range; and the sharpest checkerboard. 16 codes are 4 of the 256 of 8 bits.
    std::uint32_t noise = 1;
    const auto noisy = painted(320, 64, [&](int, int, int) {
        noise = noise * 1664525U + 1013904223U;
        return static_cast<int>(64 + (noise >> 8) % 877);
    });
    EXPECT_LT(changeBy(noisy).second, 16);
    const auto checkered =
        painted(320, 64, [](int plane, int x, int y) { return plane == 0 && (x + y) % 2 == 0 ? 940 : 64; });
    EXPECT_LT(changeBy(checkered).second, 16);
}

// Encoders: holds with and without a graphics card.

class EncoderChoices : public testing::TestWithParam<EncoderChoice> {};

TEST_P(EncoderChoices, encodesExactlyOrSaysWhyNot) {
    const TemporaryFolder folder;
    const auto file = folder / "video.mp4";
    // Large enough for graphics cards, uneven in time.
    constexpr int width = 640, height = 256;
    std::vector<std::int64_t> ticks;
    for (std::int64_t i = 0, at = 5; i < 40; ++i) ticks.push_back(at += 7 + (i * 5) % 9);
    for (const VideoCodec codec : {VideoCodec::h264, VideoCodec::hevc}) {
        SCOPED_TRACE(movies::nameOf(codec));
        VideoSettings settings = movies::settings(codec);
        settings.width = width;
        settings.height = height;
        settings.bitRate = 2'000'000;
        settings.keyFrameInterval = 30;
        settings.encoder = GetParam();
        const bool isNamed = GetParam() != EncoderChoice::automatic && GetParam() != EncoderChoice::software;
        const barCode::Area area{0, 0, width, height};
        const auto paint = [&](unsigned number) {
            Picture frame(width, height, PixelFormat::yuv420p8);
            barCode::fill(frame, 126);
            barCode::paint(frame, number, area);
            return frame;
        };
        std::string message;
        if (const auto kind = movies::thrownBy([&] { movies::write(file, {ticks, paint, settings}); }, &message)) {
            EXPECT_TRUE(isNamed) << message;
            EXPECT_EQ(kind, MediaError::Kind::unsupported) << message;
            EXPECT_TRUE(folder.isEmpty());
            continue;
        }
        VideoReader reader(file);
        for (unsigned i = 0; i < ticks.size(); ++i) {
            const auto frame = reader.next();
            ASSERT_TRUE(frame);
            EXPECT_EQ(barCode::read(*frame, area), i);
            EXPECT_EQ(frame->time(), static_cast<double>(ticks[i]) / 600);
        }
        EXPECT_FALSE(reader.next());
        std::filesystem::remove(file);
    }
}

INSTANTIATE_TEST_SUITE_P(All, EncoderChoices, testing::ValuesIn(allEncoderChoices),
                         [](const auto& instance) { return std::string(nameOf(instance.param)); });

TEST(UploadedFrames, haveTheirChromaInterleaved) {
    Picture planes(6, 4, PixelFormat::yuv420p8), pairs(6, 4, PixelFormat::nv12);
    const auto code = [](int plane, int x, int y) { return static_cast<std::uint8_t>(80 * plane + 10 * y + x); };
    for (int plane = 0; plane < 3; ++plane) {
        const Plane<std::uint8_t> to = planes.mutablePlanes()[static_cast<std::size_t>(plane)];
        for (int y = 0; y < to.height; ++y)
            for (int x = 0; x < to.width; ++x) to.row(y)[x] = code(plane, x, y);
    }
    copyAsNv12(*frameAround(planes), pairs);
    const auto at = [&](int plane, int x, int y) { return pairs.plane(plane)[y * pairs.stride(plane) + x]; };
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 6; ++x) {
            EXPECT_EQ(at(0, x, y), code(0, x, y));
            EXPECT_EQ(at(1, x, y / 2), code(1 + x % 2, x / 2, y / 2));
        }
    }
}

TEST(FrameNumbers, givePacketsTheTimesOfTheirFrames) {
    // Frames at uneven times, packets by twos as I0 P2 B1 P4 B3 ..., decoded one frame before they are shown.
    const std::vector<std::int64_t> times = {7, 8, 30, 41, 42, 100, 130, 131, 140};
    const std::vector<std::int64_t> order = {0, 2, 1, 4, 3, 6, 5, 8, 7};
    FrameNumbers numbers(10);
    const PacketHandle packet = makePacket();
    std::size_t sent = 0;
    for (std::size_t i = 0; i < order.size(); ++i) {
        while (sent < std::min(times.size(), i + 3)) {
            EXPECT_EQ(numbers.numberFor(times[sent]), static_cast<std::int64_t>(sent));
            ++sent;
        }
        packet->pts = order[i];
        packet->dts = static_cast<std::int64_t>(i) - 1;
        ASSERT_TRUE(numbers.restore(*packet));
        EXPECT_EQ(packet->pts, times[static_cast<std::size_t>(order[i])]);
        EXPECT_EQ(packet->dts, i == 0 ? times[0] - 10 : times[i - 1]);
    }
    // Numbers that no frame has are a driver's mistake and must not crash.
    for (const std::int64_t number : {std::int64_t{9}, std::int64_t{0}, std::int64_t{-3}}) {
        packet->pts = packet->dts = number;
        EXPECT_FALSE(numbers.restore(*packet));
    }
}

}  // namespace
}  // namespace lumenwhirl
