#pragma once

#include "Media/FFmpegHandles.h"
#include "Media/InputFile.h"
#include "Media/OutputFile.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <stdexcept>
#include <vector>

extern "C" {
#include <libavutil/channel_layout.h>
}

/// Movies that our own writers do not make, written with FFmpeg itself.
namespace lumenwhirl::movies {

inline void check(int result) {
    if (result < 0) throw std::runtime_error(reasonFor(result));
}

/// A movie of any kind: `describe` sets up the encoder, `paint` fills each frame.
struct Foreign {
    const char* container = "matroska";
    const char* encoder = "ffv1";  // lossless, of nearly any pixel format
    AVPixelFormat format = AV_PIX_FMT_YUV420P;
    int width = 160, height = 64, frames = 1;
    std::function<void(AVCodecContext&)> describe = [](AVCodecContext&) {};
    std::function<void(AVStream&)> describeStream = [](AVStream&) {};
    std::function<void(AVFrame&, int)> paint = [](AVFrame&, int) {};
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
    output.start(none);
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

/// The video of another file, copied into a track of `output`.
class CopiedVideo {
public:
    CopiedVideo(const std::filesystem::path& from, OutputFile& output)
        : input_(from, AVMEDIA_TYPE_VIDEO),
          from_(input_.requiredStream(AVMEDIA_TYPE_VIDEO)),
          output_(output),
          to_(output.addStream()) {
        check(avcodec_parameters_copy(to_.codecpar, from_.codecpar));
        to_.codecpar->codec_tag = 0;
        to_.time_base = from_.time_base;
        to_.avg_frame_rate = from_.avg_frame_rate;
    }
    /// `change` may give each packet another time; it is told how many came before.
    void write(const std::function<void(AVPacket&, int)>& change = [](AVPacket&, int) {}) {
        const PacketHandle packet = makePacket();
        for (int i = 0; input_.read(*packet); ++i) {
            packet->stream_index = to_.index;
            av_packet_rescale_ts(packet.get(), from_.time_base, to_.time_base);
            change(*packet, i);
            output_.write(*packet);
        }
    }

private:
    InputFile input_;
    AVStream& from_;
    OutputFile& output_;
    AVStream& to_;
};

}  // namespace lumenwhirl::movies

namespace lumenwhirl::foreignAudio {

/// Audio of a kind that this program does not record.
struct Kind {
    const char* encoder = "aac";
    AVSampleFormat format = AV_SAMPLE_FMT_FLTP;  // one that the encoder takes
    int sampleRate = 48000, channels = 2;
    double start = 0;  // of the track, seconds
};

/// Encodes the same samples, at the kind's rate, into every channel of a track of `output`.
class Track {
public:
    Track(OutputFile& output, const Kind& kind) : output_(output), kind_(kind), stream_(output.addStream()) {
        const AVCodec* encoder = avcodec_find_encoder_by_name(kind.encoder);
        codec_.reset(avcodec_alloc_context3(encoder));
        codec_->sample_fmt = kind.format;
        codec_->sample_rate = kind.sampleRate;
        codec_->time_base = {1, kind.sampleRate};
        codec_->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
        codec_->log_level_offset = AV_LOG_TRACE;
        if (codec_->codec_id == AV_CODEC_ID_AAC) codec_->bit_rate = std::int64_t{96'000} * (kind.channels + 1);
        av_channel_layout_default(&codec_->ch_layout, kind.channels);
        if ((output.context().oformat->flags & AVFMT_GLOBALHEADER) != 0)
            codec_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        movies::check(avcodec_open2(codec_.get(), encoder, nullptr));
        stream_.time_base = codec_->time_base;
        movies::check(avcodec_parameters_from_context(stream_.codecpar, codec_.get()));
        SwrContext* made = nullptr;
        movies::check(swr_alloc_set_opts2(&made, &codec_->ch_layout, kind.format, kind.sampleRate,
                                          &codec_->ch_layout, AV_SAMPLE_FMT_FLTP, kind.sampleRate, 0, nullptr));
        converter_.reset(made);
        movies::check(swr_init(converter_.get()));
    }

    void write(std::span<const float> samples) {
        const std::size_t most = codec_->frame_size > 0 ? static_cast<std::size_t>(codec_->frame_size) : 1024;
        for (std::size_t done = 0; done < samples.size(); done += most)
            encode(samples.subspan(done, std::min(most, samples.size() - done)), done);
        movies::check(avcodec_send_frame(codec_.get(), nullptr));
        takePackets();
    }

private:
    void encode(std::span<const float> samples, std::size_t position) {
        const FrameHandle frame = makeFrame();
        frame->format = kind_.format;
        frame->sample_rate = kind_.sampleRate;
        frame->nb_samples = static_cast<int>(samples.size());
        frame->pts =
            static_cast<std::int64_t>(position + static_cast<std::size_t>(kind_.start * kind_.sampleRate));
        movies::check(av_channel_layout_copy(&frame->ch_layout, &codec_->ch_layout));
        movies::check(av_frame_get_buffer(frame.get(), 0));
        const std::vector<const float*> planes(static_cast<std::size_t>(kind_.channels), samples.data());
        const auto** from = reinterpret_cast<const std::uint8_t**>(const_cast<const float**>(planes.data()));
        movies::check(
            swr_convert(converter_.get(), frame->extended_data, frame->nb_samples, from, frame->nb_samples));
        movies::check(avcodec_send_frame(codec_.get(), frame.get()));
        takePackets();
    }
    void takePackets() {
        const PacketHandle packet = makePacket();
        while (avcodec_receive_packet(codec_.get(), packet.get()) >= 0) {
            packet->stream_index = stream_.index;
            av_packet_rescale_ts(packet.get(), codec_->time_base, stream_.time_base);
            output_.write(*packet);
        }
    }

    OutputFile& output_;
    Kind kind_;
    AVStream& stream_;
    CodecHandle codec_;
    ResamplerHandle converter_;
};

/// Writes `file` with the video of `picture` and audio of that kind; a QuickTime file can hold nearly all kinds.
inline void write(const std::filesystem::path& file, const std::filesystem::path& picture, const Kind& kind,
                  std::span<const float> samples, const char* container = "mov") {
    OutputFile output(file, container);
    output.context().strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    movies::CopiedVideo video(picture, output);
    Track audio(output, kind);
    Dictionary none;
    output.start(none);
    video.write();
    audio.write(samples);
    output.finish();
}

}  // namespace lumenwhirl::foreignAudio
