#include "Media/StreamDecoder.h"

#include "Media/MediaError.h"

#include <algorithm>
#include <charconv>
#include <new>

extern "C" {
#include <libavutil/common.h>
}

namespace lumenwhirl {
namespace {

/// In a picture: four times the most that level 6.2 of H.264 and HEVC allows. A damaged header could ask for a
/// hundred times as much, for a frame of every thread.
constexpr std::int64_t mostPixels = std::int64_t{16384} * 8704;

}  // namespace

StreamDecoder::StreamDecoder(InputFile& input, AVStream& stream) : input_(input), stream_(stream) {
    const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
    if (!codec) {
        throw MediaError(MediaError::Kind::unsupported, input.path(),
                         std::string("no decoder for ") + avcodec_get_name(stream.codecpar->codec_id));
    }
    codec_.reset(avcodec_alloc_context3(codec));
    if (!codec_) throw std::bad_alloc();
    int result = avcodec_parameters_to_context(codec_.get(), stream.codecpar);
    if (result >= 0) {
        codec_->pkt_timebase = stream.time_base;
        codec_->thread_count = 0;  // one a core
        codec_->max_pixels = mostPixels;
        codec_->log_level_offset = AV_LOG_TRACE;
        result = avcodec_open2(codec_.get(), codec, nullptr);
    }
    if (result < 0) {
        throw MediaError(MediaError::Kind::unsupported, input.path(),
                         std::string("cannot decode ") + codec->name + ": " + reasonFor(result));
    }
    input.readOnly(stream);
}

bool StreamDecoder::receive(AVFrame& frame) {
    for (;;) {
        const int result = avcodec_receive_frame(codec_.get(), &frame);
        if (result >= 0) {
            if (frame.best_effort_timestamp != AV_NOPTS_VALUE) latestFrame_ = frame.best_effort_timestamp;
            return true;
        }
        if (result == AVERROR_EOF) {
            if (failure_) throwFailure();
            return false;
        }
        if (result == AVERROR(EAGAIN)) {
            feed();
            continue;
        }
        // A decoder with threads reports here what an earlier packet did wrong.
        failDecoding(result);
    }
}

/// Frames decoded before the failure still come.
void StreamDecoder::failDecoding(int result) {
    if (failure_) return;
    // Damaged headers ask for memory that no machine has.
    failure_ = result == AVERROR(ENOMEM) ? "cannot decode: not enough memory, or damaged"
                                         : "cannot decode: " + reasonFor(result);
    avcodec_send_packet(codec_.get(), nullptr);
}

void StreamDecoder::throwFailure() const {
    if (latestFrame_ == AV_NOPTS_VALUE)
        throw MediaError(MediaError::Kind::damaged, input_.path(), *failure_ + "; restore the file");
    const double seconds = static_cast<double>(latestFrame_) * av_q2d(stream_.time_base);
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, seconds, std::chars_format::fixed, 2).ptr;
    throw MediaError(MediaError::Kind::damaged, input_.path(),
                     *failure_ + " (after " + std::string(text, end) +
                         " s); restore the file, or trim the end off before that");
}

void StreamDecoder::feed() {
    AVPacket* next = nullptr;  // tells the decoder to hand out what it still holds
    try {
        if (!failure_ && input_.read(*packet_)) next = packet_.get();
    } catch (const MediaError& error) {
        failure_ = error.problem();
    }
    if (next) {
        if (next->dts != AV_NOPTS_VALUE) {
            lastDecodeTime_ = next->dts;
            if (firstDecodeTime_ == AV_NOPTS_VALUE) firstDecodeTime_ = next->dts;
        }
        if (next->pts != AV_NOPTS_VALUE)
            endOfPackets_ = std::max(endOfPackets_, av_sat_add64(next->pts, next->duration));
    }
    const int result = avcodec_send_packet(codec_.get(), next);
    if (result < 0 && result != AVERROR_EOF) failDecoding(result);
}

void StreamDecoder::learnIndex() {
    try {
        while (input_.read(*packet_)) {
        }
    } catch (const MediaError&) {  // reported when the packets are decoded
    }
}

bool StreamDecoder::seek(std::int64_t timestamp) {
    if (av_seek_frame(&input_.context(), stream_.index, timestamp, AVSEEK_FLAG_BACKWARD) < 0) return false;
    avcodec_flush_buffers(codec_.get());
    failure_.reset();
    firstDecodeTime_ = lastDecodeTime_ = endOfPackets_ = latestFrame_ = AV_NOPTS_VALUE;
    return true;
}

}  // namespace lumenwhirl
