#include "Media/CopiedTrack.h"

#include "Media/MediaError.h"

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
    keepTag();
}

void CopiedTrack::write(AVPacket& packet) {
    packet.stream_index = to_.index;
    packet.pos = -1;
    av_packet_rescale_ts(&packet, from_.time_base, to_.time_base);
    output_.write(packet);
}

/// The codec's tag of the source where the container has it too, else the container's own.
void CopiedTrack::keepTag() {
    AVCodecParameters& parameters = *to_.codecpar;
    const auto* tags = output_.context().oformat->codec_tag;
    if (parameters.codec_id == AV_CODEC_ID_HEVC) {
        parameters.codec_tag = MKTAG('h', 'v', 'c', '1');
    } else if (av_codec_get_id(tags, parameters.codec_tag) != parameters.codec_id) {
        parameters.codec_tag = 0;
    }
}

}  // namespace lumenwhirl
