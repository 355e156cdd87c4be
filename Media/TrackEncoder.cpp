#include "Media/TrackEncoder.h"

#include "Media/MediaError.h"

#include <new>
#include <string>
#include <utility>

namespace lumenwhirl {

TrackEncoder::TrackEncoder(const char* encoder, std::filesystem::path file) : file_(std::move(file)) {
    encoder_ = avcodec_find_encoder_by_name(encoder);
    if (!encoder_) {
        throw MediaError(MediaError::Kind::unsupported, file_,
                         std::string("this FFmpeg has no encoder ") + encoder);
    }
    codec_.reset(avcodec_alloc_context3(encoder_));
    if (!codec_) throw std::bad_alloc();
    codec_->log_level_offset = AV_LOG_TRACE;  // x264 would print its statistics
}

bool TrackEncoder::isHardware() const noexcept {
    return (encoder_->capabilities & (AV_CODEC_CAP_HARDWARE | AV_CODEC_CAP_HYBRID)) != 0;
}

void TrackEncoder::open(Dictionary& options) {
    const int result = avcodec_open2(codec_.get(), encoder_, options.address());
    if (!isHardware()) orOutOfMemory(result);
    if (result < 0) {
        const std::string size =
            codec_->width > 0 ? " at " + std::to_string(codec_->width) + "x" + std::to_string(codec_->height) : "";
        throw MediaError(MediaError::Kind::encoderFailed, file_,
                         std::string("cannot start ") + encoder_->name + size + ": " + reasonFor(result));
    }
    timeBase_ = codec_->time_base;
}

void TrackEncoder::addTo(OutputFile& output) {
    output_ = &output;
    stream_ = &output.addStream();
    stream_->time_base = timeBase_;
    if (codec_->framerate.num > 0) stream_->avg_frame_rate = codec_->framerate;
    const int result = orOutOfMemory(avcodec_parameters_from_context(stream_->codecpar, codec_.get()));
    if (result < 0) {
        throw MediaError(MediaError::Kind::encoderFailed, file_,
                         std::string("cannot describe a track of ") + encoder_->name + ": " + reasonFor(result));
    }
}

int TrackEncoder::tryEncode(const AVFrame* frame, const Sink& sink) {
    int result = send(frame);
    while (result >= 0) {
        result = receive(*packet_);
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return 0;
        if (result >= 0) sink(*packet_);
    }
    return result;
}

void TrackEncoder::encode(const AVFrame* frame, const Sink& sink) {
    const int result = tryEncode(frame, sink);
    if (result >= 0) return;
    // Drivers of graphics cards say so of the card's memory, and when it encodes for too many already.
    if (!isHardware()) orOutOfMemory(result);
    throw MediaError(MediaError::Kind::encoderFailed, file_,
                     std::string("cannot encode with ") + encoder_->name + ": " + reasonFor(result) +
                         (isHardware() ? "; choose the encoder \"software\"" : ""));
}

void TrackEncoder::encode(const AVFrame* frame) {
    encode(frame, [this](AVPacket& packet) {
        assign(packet);
        output_->write(packet);
    });
}

void TrackEncoder::assign(AVPacket& packet) const {
    packet.stream_index = stream_->index;
    av_packet_rescale_ts(&packet, timeBase_, stream_->time_base);
}

}  // namespace lumenwhirl
