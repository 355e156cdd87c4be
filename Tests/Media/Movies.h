#pragma once

#include "Media/FFmpegHandles.h"
#include "Media/OutputFile.h"
#include "Media/VideoWriter.h"
#include "Tests/Media/BarCode.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

/// Small movies to read: numbered ones of our own kind, and ones that VideoWriter does not make.
namespace lumenwhirl::movies {

inline constexpr int width = 160, height = 64;

[[nodiscard]] inline VideoSettings settings(VideoCodec codec = VideoCodec::h264) {
    VideoSettings settings;
    settings.codec = codec;
    settings.width = width;
    settings.height = height;
    settings.speed = codec == VideoCodec::h264 ? "veryfast" : "ultrafast";  // x264 and x265 use B-frames
    settings.threads = 2;
    return settings;
}

[[nodiscard]] inline const char* nameOf(VideoCodec codec) {
    return codec == VideoCodec::h264 ? "h264" : codec == VideoCodec::hevc ? "hevc" : "prores";
}

/// A picture that shows `number`. Its lower half changes all the time, so that every frame costs some bits.
[[nodiscard]] inline VideoFrame numbered(unsigned number) {
    VideoFrame frame = VideoFrame::allocate(width, height, PixelFormat::yuv420p8);
    barCode::fill(frame, 126);
    barCode::paint(frame, number, {0, 0, width, height / 2});
    std::uint32_t noise = number * 2654435761U + 1;
    for (int y = height / 2; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            noise = noise * 1664525U + 1013904223U;
            frame.mutablePlane(0)[y * frame.stride(0) + x] = static_cast<std::uint8_t>(64 + (noise >> 25));
        }
    }
    return frame;
}

/// The same picture at 10 bits with every chroma row doubled, for ProRes.
[[nodiscard]] inline VideoFrame widened(const VideoFrame& frame) {
    VideoFrame wide = VideoFrame::allocate(frame.width(), frame.height(), PixelFormat::yuv422p10);
    for (int plane = 0; plane < 3; ++plane) {
        const int columns = plane == 0 ? frame.width() : frame.width() / 2;
        for (int y = 0; y < frame.height(); ++y) {
            const std::uint8_t* from = frame.plane(plane) + (plane == 0 ? y : y / 2) * frame.stride(plane);
            auto* to = reinterpret_cast<std::uint16_t*>(wide.mutablePlane(plane) + y * wide.stride(plane));
            for (int x = 0; x < columns; ++x) to[x] = static_cast<std::uint16_t>(4 * from[x]);
        }
    }
    return wide;
}

/// A numbered picture in the format that the codec takes.
[[nodiscard]] inline VideoFrame numberedFor(VideoCodec codec, unsigned number) {
    return codec == VideoCodec::prores ? widened(numbered(number)) : numbered(number);
}

[[nodiscard]] inline std::optional<unsigned> numberOf(const VideoFrame& frame) {
    return barCode::read(frame, {0, 0, width, height / 2});
}

/// Frames numbered from 0 at these ticks.
inline void write(const std::filesystem::path& file, const std::vector<std::int64_t>& ticks,
                  const VideoSettings& how = settings()) {
    VideoWriter writer(file, how);
    for (unsigned i = 0; i < ticks.size(); ++i) writer.write(numberedFor(how.codec, i), ticks[i]);
    writer.finish();
}

/// `count` times, `step` ticks apart.
[[nodiscard]] inline std::vector<std::int64_t> steady(int count, std::int64_t step, std::int64_t first = 0) {
    std::vector<std::int64_t> ticks;
    for (int i = 0; i < count; ++i) ticks.push_back(first + i * step);
    return ticks;
}

inline void check(int result) {
    if (result < 0) throw std::runtime_error(reasonFor(result));
}

/// A movie of any kind: what `describe` makes of the encoder, and `paint` of the frames.
struct Foreign {
    const char* container = "matroska";
    const char* encoder = "ffv1";  // lossless, of nearly any pixel format
    AVPixelFormat format = AV_PIX_FMT_YUV420P;
    int width = 160, height = 64, frames = 1;
    std::function<void(AVCodecContext&)> describe = [](AVCodecContext&) {};
    std::function<void(AVStream&)> describeStream = [](AVStream&) {};
    std::function<void(AVFrame&, int)> paint = [](AVFrame&, int) {};
    Dictionary* muxerOptions = nullptr;
};

inline void write(const std::filesystem::path& file, const Foreign& movie) {
    const AVCodec* encoder = avcodec_find_encoder_by_name(movie.encoder);
    const CodecHandle codec(avcodec_alloc_context3(encoder));
    codec->width = movie.width;
    codec->height = movie.height;
    codec->pix_fmt = movie.format;
    codec->time_base = {1, 25};
    codec->log_level_offset = AV_LOG_TRACE;
    movie.describe(*codec);
    OutputFile output(file, movie.container);
    if ((output.context().oformat->flags & AVFMT_GLOBALHEADER) != 0) codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    check(avcodec_open2(codec.get(), encoder, nullptr));
    AVStream& stream = output.addStream();
    stream.time_base = codec->time_base;
    check(avcodec_parameters_from_context(stream.codecpar, codec.get()));
    movie.describeStream(stream);
    Dictionary none;
    output.start(movie.muxerOptions ? *movie.muxerOptions : none);
    const PacketHandle packet = makePacket();
    for (int i = 0; i <= movie.frames; ++i) {
        const FrameHandle frame = makeFrame();
        if (i < movie.frames) {
            frame->format = movie.format;
            frame->width = movie.width;
            frame->height = movie.height;
            frame->colorspace = codec->colorspace;
            frame->color_range = codec->color_range;
            frame->chroma_location = codec->chroma_sample_location;
            frame->pts = i;
            check(av_frame_get_buffer(frame.get(), 0));
            movie.paint(*frame, i);
        }
        check(avcodec_send_frame(codec.get(), i < movie.frames ? frame.get() : nullptr));
        while (avcodec_receive_packet(codec.get(), packet.get()) >= 0) {
            av_packet_rescale_ts(packet.get(), codec->time_base, stream.time_base);
            output.write(*packet);
        }
    }
    output.finish();
}

}  // namespace lumenwhirl::movies
