#include "Media/StreamDecoder.h"

#include "Media/MediaError.h"

#include <algorithm>
#include <new>

namespace lumenwhirl {

StreamDecoder::StreamDecoder(InputFile& input, AVStream& stream) : input_(input), stream_(stream) {
    const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
    if (!codec) {
        throw MediaError(MediaError::Kind::unsupported, input.path(),
                         std::string("no decoder for ") + avcodec_get_name(stream.codecpar->codec_id));
    }
    codec_.reset(avcodec_alloc_context3(codec));
    if (!codec_) throw std::bad_alloc();
    int result = orOutOfMemory(avcodec_parameters_to_context(codec_.get(), stream.codecpar));
    if (result >= 0) {
        codec_->pkt_timebase = stream.time_base;
        codec_->thread_count = 0;  // one a core
        codec_->log_level_offset = AV_LOG_TRACE;
        result = orOutOfMemory(avcodec_open2(codec_.get(), codec, nullptr));
    }
    if (result < 0) {
        throw MediaError(MediaError::Kind::unsupported, input.path(),
                         std::string("cannot decode ") + codec->name + ": " + reasonFor(result));
    }
    input.readOnly(stream);
}

bool StreamDecoder::receive(AVFrame& frame) {
    for (;;) {
        const int result = orOutOfMemory(avcodec_receive_frame(codec_.get(), &frame));
        if (result >= 0) return true;
        if (result == AVERROR_EOF) {
            if (failure_) std::rethrow_exception(failure_);
            return false;
        }
        if (result == AVERROR(EAGAIN)) {
            feed();
            continue;
        }
        // A decoder with threads reports here what an earlier packet did wrong.
        if (!failure_) {
            failure_ = std::make_exception_ptr(
                MediaError(MediaError::Kind::damaged, input_.path(), "cannot decode: " + reasonFor(result)));
            avcodec_send_packet(codec_.get(), nullptr);
        }
    }
}

void StreamDecoder::feed() {
    AVPacket* next = nullptr;  // tells the decoder to hand out what it still holds
    try {
        if (!failure_ && input_.read(*packet_)) next = packet_.get();
    } catch (const MediaError&) {
        failure_ = std::current_exception();
    }
    if (next) {
        if (next->dts != AV_NOPTS_VALUE) lastDecodeTime_ = next->dts;
        if (next->pts != AV_NOPTS_VALUE) endOfPackets_ = std::max(endOfPackets_, next->pts + next->duration);
    }
    const int result = orOutOfMemory(avcodec_send_packet(codec_.get(), next));
    if (result < 0 && result != AVERROR_EOF && !failure_) {
        failure_ = std::make_exception_ptr(
            MediaError(MediaError::Kind::damaged, input_.path(), "cannot decode: " + reasonFor(result)));
        avcodec_send_packet(codec_.get(), nullptr);
    }
}

bool StreamDecoder::seek(std::int64_t timestamp) {
    if (av_seek_frame(&input_.context(), stream_.index, timestamp, AVSEEK_FLAG_BACKWARD) < 0) return false;
    avcodec_flush_buffers(codec_.get());
    failure_ = nullptr;
    lastDecodeTime_ = endOfPackets_ = AV_NOPTS_VALUE;
    return true;
}

}  // namespace lumenwhirl
