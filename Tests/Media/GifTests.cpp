#include "Media/FFmpegHandles.h"
#include "Media/GifWriter.h"
#include "Tests/Support/Files.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

namespace lumenwhirl {
namespace {

using Color = std::array<double, 3>;  // of R, G, B or of Y, Cb, Cr; 8-bit codes

/// 8-bit codes of R'G'B' as BT.709 limited codes (ITU-R BT.709, 3.2 to 3.4).
Color codesOf(Color rgb) {
    const double luma = 0.2126 * rgb[0] + 0.7152 * rgb[1] + 0.0722 * rgb[2];
    return {16 + luma * 219 / 255, 128 + (rgb[2] - luma) / 1.8556 * 224 / 255,
            128 + (rgb[0] - luma) / 1.5748 * 224 / 255};
}

/// `paint` gives the colour at a place, in luma pixels from the centre of the first one.
Picture painted(int width, int height, const std::function<Color(double x, double y)>& paint) {
    Picture frame(width, height, PixelFormat::yuv420p8);
    for (int plane = 0; plane < 3; ++plane) {
        const int step = plane == 0 ? 1 : 2;
        for (int y = 0; y < height / step; ++y) {
            for (int x = 0; x < width / step; ++x) {
                const Color codes = codesOf(paint(step * x, plane == 0 ? y : 2 * y + 0.5));  // left-sited
                frame.mutablePlane(plane)[y * frame.stride(plane) + x] =
                    static_cast<std::uint8_t>(std::lround(codes[static_cast<std::size_t>(plane)]));
            }
        }
    }
    return frame;
}

Picture plain(int width, int height, Color color) {
    return painted(width, height, [&](double, double) { return color; });
}

struct Shown {
    std::int64_t tick = 0, duration = 0;  // 1/100 s
    int width = 0, height = 0;
    std::vector<std::uint8_t> rgb;
    [[nodiscard]] int at(int x, int y, int channel) const {
        return rgb.at(static_cast<std::size_t>(3 * (y * width + x) + channel));
    }
};

/// Every frame of a GIF, as a viewer shows it.
std::vector<Shown> decode(const std::filesystem::path& file) {
    std::vector<Shown> pictures;
    AVFormatContext* opened = nullptr;
    if (avformat_open_input(&opened, file.c_str(), nullptr, nullptr) < 0) return pictures;
    const InputHandle input(opened);
    const AVStream& stream = *input->streams[0];
    const AVCodec* decoder = avcodec_find_decoder(stream.codecpar->codec_id);
    const CodecHandle codec(avcodec_alloc_context3(decoder));
    if (avcodec_parameters_to_context(codec.get(), stream.codecpar) < 0 ||
        avcodec_open2(codec.get(), decoder, nullptr) < 0)
        return pictures;
    const PacketHandle packet = makePacket();
    const FrameHandle frame = makeFrame();
    while (av_read_frame(input.get(), packet.get()) >= 0) {
        EXPECT_EQ(av_q2d(stream.time_base), 0.01);
        Shown shown{packet->pts, packet->duration, 0, 0, {}};
        EXPECT_GE(avcodec_send_packet(codec.get(), packet.get()), 0);
        av_packet_unref(packet.get());
        if (avcodec_receive_frame(codec.get(), frame.get()) < 0) continue;
        shown.width = frame->width;
        shown.height = frame->height;
        for (int y = 0; y < frame->height; ++y) {
            for (int x = 0; x < frame->width; ++x) {
                const std::uint8_t* bgra = frame->data[0] + y * frame->linesize[0] + 4 * x;
                shown.rgb.insert(shown.rgb.end(), {bgra[2], bgra[1], bgra[0]});
            }
        }
        pictures.push_back(std::move(shown));
    }
    return pictures;
}

GifSettings settingsFor(const Picture& frame) {
    GifSettings settings;
    settings.width = frame.width();
    settings.height = frame.height();
    return settings;
}

class Gif : public testing::Test {
protected:
    /// Learns all frames, writes them and reads them back.
    std::vector<Shown> writtenAndRead(const std::vector<Picture>& frames) {
        GifWriter writer(file, settingsFor(frames.front()));
        for (const Picture& frame : frames) writer.learn(frame);
        for (const Picture& frame : frames) writer.write(frame);
        writer.finish();
        return decode(file);
    }

    TemporaryFolder folder;
    std::filesystem::path file = folder / "film.gif";
};

TEST_F(Gif, isAtMost720WideAndNeverEnlarged) {
    struct Sizes {
        int width, height, gifWidth, gifHeight;
    };
    for (const Sizes& sizes :
         {Sizes{1920, 1080, 720, 405}, Sizes{1080, 1920, 720, 1280}, Sizes{1000, 562, 720, 405},
          Sizes{16, 16, 16, 16}, Sizes{720, 406, 720, 406}, Sizes{4096, 2, 720, 1}, Sizes{2, 2, 2, 2}}) {
        SCOPED_TRACE(std::to_string(sizes.width) + "x" + std::to_string(sizes.height));
        const auto shown = writtenAndRead({plain(sizes.width, sizes.height, {200, 100, 50})});
        ASSERT_EQ(shown.size(), 1U);
        EXPECT_EQ(shown[0].width, sizes.gifWidth);
        EXPECT_EQ(shown[0].height, sizes.gifHeight);
        for (const int channel : {0, 1, 2}) {
            EXPECT_NEAR(shown[0].at(sizes.gifWidth - 1, sizes.gifHeight - 1, channel), 200 / (1 << channel), 2);
        }
    }
}

TEST_F(Gif, everyFrameShowsAtItsHundredth) {
    std::vector<Picture> frames;
    const auto redOf = [](std::size_t i) { return static_cast<double>(i * 37 % 160); };
    for (std::size_t i = 0; i < 160; ++i) frames.push_back(plain(16, 16, {redOf(i), 100, 200}));
    const auto shown = writtenAndRead(frames);
    ASSERT_EQ(shown.size(), frames.size());
    for (std::size_t i = 0; i < shown.size(); ++i) {
        const double time = static_cast<double>(i) * 100 / 15;
        EXPECT_EQ(shown[i].tick, std::lround(time));
        EXPECT_EQ(shown[i].tick + shown[i].duration, std::lround(time + 100.0 / 15));  // the last one too
        EXPECT_NEAR(shown[i].at(8, 8, 0), redOf(i), 4);
    }
}

TEST_F(Gif, framesThatDoNotChangeCostNothing) {
    const Picture still = plain(64, 64, {30, 90, 200}), other = plain(64, 64, {220, 90, 20});
    {
        GifWriter writer(file, settingsFor(still));
        writer.learn(still);
        writer.learn(other);
        // 66,667 hundredths: more than the 65,535 that a delay can hold. Equal pixels in other memory count too.
        for (int i = 0; i < 9'990; ++i) writer.write(still);
        for (int i = 0; i < 10; ++i) writer.write(plain(64, 64, {30, 90, 200}));
        for (int i = 0; i < 3; ++i) writer.write(other);
        writer.finish();
    }
    const auto shown = decode(file);
    ASSERT_EQ(shown.size(), 3U);
    EXPECT_EQ(shown[1].tick, 65'535);
    EXPECT_EQ(shown[1].rgb, shown[0].rgb);
    EXPECT_EQ(shown[2].tick, 66'667);
    EXPECT_EQ(shown[2].duration, 20);
    EXPECT_NEAR(shown[2].at(10, 10, 0), 220, 2);
    const auto size = std::filesystem::file_size(file);
    writtenAndRead({still, other});
    EXPECT_LT(size, std::filesystem::file_size(file) + 100);
}

/// Far more colours than a palette has.
Color sunset(double x, double y) {
    return {255 - y / 4, 60 + x / 3, 40 + y / 2};
}

TEST_F(Gif, unchangedPixelsStayToTheLastBit) {
    // A square wanders over a gradient that needs dithering and has an encoder's noise of one step.
    constexpr int width = 320, height = 180, side = 40;
    std::vector<Picture> frames;
    std::uint32_t noise = 1;
    for (int i = 0; i < 12; ++i) {
        Picture frame = painted(width, height, [&](double x, double y) {
            const bool isSquare = x >= 20 * i && x < 20 * i + side && y >= 100 && y < 100 + side;
            return isSquare ? Color{20, 200, 60} : sunset(x, y);
        });
        for (int x = 0; x < width * 50; ++x) {
            noise = noise * 1664525U + 1013904223U;
            frame.mutablePlane(0)[x / width * frame.stride(0) + x % width] +=
                static_cast<std::uint8_t>(noise >> 31);
        }
        frames.push_back(frame);
    }
    const auto shown = writtenAndRead(frames);
    ASSERT_EQ(shown.size(), frames.size());
    for (int i = 1; i < 12; ++i) {
        const auto &now = shown[static_cast<std::size_t>(i)].rgb,
                   &before = shown[static_cast<std::size_t>(i - 1)].rgb;
        int changedOutside = 0, changedInside = 0;
        for (int sample = 0; sample < 3 * width * height; ++sample) {
            const int x = sample / 3 % width, y = sample / 3 / width;
            const bool isInside = x >= 20 * (i - 1) - 8 && x < 20 * i + side + 8 && y >= 92 && y < 148;
            const auto at = static_cast<std::size_t>(sample);
            (isInside ? changedInside : changedOutside) += now[at] != before[at];
        }
        EXPECT_EQ(changedOutside, 0) << "frame " << i;
        EXPECT_GT(changedInside, 20 * side);
    }
}

TEST_F(Gif, gradientsDoNotBand) {
    // The mean of 8x8 pixels, which is what the eye sees from afar, follows the gradient.
    const auto shown = writtenAndRead({painted(480, 320, sunset)});
    ASSERT_EQ(shown.size(), 1U);
    double squares = 0;
    int count = 0;
    for (int top = 0; top + 8 <= 320; top += 8) {
        for (int left = 0; left + 8 <= 480; left += 8) {
            const Color expected = sunset(left + 3.5, top + 3.5);
            for (const int channel : {0, 1, 2}) {
                double sum = 0;
                for (int i = 0; i < 64; ++i) sum += shown[0].at(left + i % 8, top + i / 8, channel);
                const double error = sum / 64 - expected[static_cast<std::size_t>(channel)];
                squares += error * error;
                ++count;
            }
        }
    }
    EXPECT_LT(std::sqrt(squares / count), 1);  // 0.65; without dithering 1.7
}

TEST_F(Gif, colorsAreThoseOfTheFramesAndChromaIsInterpolatedAtItsSite) {
    const std::vector<Color> colors{{255, 255, 255}, {0, 0, 0},     {255, 0, 0},   {0, 255, 0},
                                    {0, 0, 255},     {204, 77, 26}, {12, 130, 140}};
    std::vector<Picture> frames;
    for (const Color& color : colors) frames.push_back(plain(32, 32, color));
    auto shown = writtenAndRead(frames);
    ASSERT_EQ(shown.size(), colors.size());
    for (std::size_t i = 0; i < colors.size(); ++i) {
        for (const int channel : {0, 1, 2})
            EXPECT_NEAR(shown[i].at(16, 16, channel), colors[i][static_cast<std::size_t>(channel)], 3);
    }

    // Grey luma; Cr steps up between the samples that lie on the luma columns 30 and 32.
    Picture step(64, 32, PixelFormat::yuv420p8);
    for (int plane = 0; plane < 3; ++plane) {
        const int rows = plane == 0 ? 32 : 16, columns = plane == 0 ? 64 : 32;
        for (int i = 0; i < rows * columns; ++i) {
            const bool isRight = plane == 2 && i % columns >= 16;
            step.mutablePlane(plane)[i / columns * step.stride(plane) + i % columns] = isRight ? 168 : 128;
        }
    }
    shown = writtenAndRead({step});
    ASSERT_EQ(shown.size(), 1U);
    const double low = shown[0].at(20, 16, 0), high = shown[0].at(44, 16, 0);
    EXPECT_NEAR(high - low, 40 * 1.5748 * 255 / 224, 3);
    EXPECT_NEAR(shown[0].at(31, 16, 0), (low + high) / 2, 4);  // centre-sited: a quarter of the step, 18, off
    EXPECT_NEAR(shown[0].at(30, 16, 0), low, 6);
    EXPECT_NEAR(shown[0].at(32, 16, 0), high, 6);
}

}  // namespace
}  // namespace lumenwhirl
