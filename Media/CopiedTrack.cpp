#include "Media/CopiedTrack.h"

#include "Media/MediaError.h"

#include <algorithm>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace lumenwhirl {

CopiedTrack::CopiedTrack(InputFile& input, AVStream& from, OutputFile& output)
    : input_(input), from_(from), output_(output), to_(output.addStream()) {
    input.readOnly(from);
    if (orOutOfMemory(avcodec_parameters_copy(to_.codecpar, from.codecpar)) < 0) {
        throw MediaError(MediaError::Kind::cannotWrite, output.path(), "cannot describe a track");
    }
    to_.time_base = from.time_base;
    to_.avg_frame_rate = from.avg_frame_rate;
    to_.sample_aspect_ratio = from.sample_aspect_ratio;
    to_.disposition = AV_DISPOSITION_DEFAULT;
    // The codec's tag of the source where the container has it too, else the container's own.
    if (av_codec_get_id(output.context().oformat->codec_tag, to_.codecpar->codec_tag) != to_.codecpar->codec_id)
        to_.codecpar->codec_tag = 0;
}

void CopiedTrack::write(AVPacket& packet) {
    packet.stream_index = to_.index;
    packet.pos = -1;
    av_packet_rescale_ts(&packet, from_.time_base, to_.time_base);
    output_.write(packet);
}

CopiedAudio::CopiedAudio(const std::filesystem::path& audio, OutputFile& output)
    : input_(audio, AVMEDIA_TYPE_AUDIO),
      track_(input_, input_.requiredStream(AVMEDIA_TYPE_AUDIO), output),
      hasPacket_(track_.read(*packet_)) {}

void CopiedAudio::copyUntil(std::int64_t end, AVRational base) {
    while (hasPacket_ && av_compare_ts(startOf(*packet_), track_.timeBase(), end, base) < 0) copyOne();
}

void CopiedAudio::finishAt(std::int64_t end, AVRational base) {
    const std::int64_t last = av_rescale_q_rnd(end, base, track_.timeBase(), AV_ROUND_UP);
    while (hasPacket_ && startOf(*packet_) < last) {
        packet_->duration = std::min(packet_->duration, last - startOf(*packet_));
        copyOne();
    }
}

void CopiedAudio::copyOne() {
    track_.write(*packet_);
    hasPacket_ = track_.read(*packet_);
}

}  // namespace lumenwhirl
