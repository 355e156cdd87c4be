#include "Media/CopiedAudio.h"

#include "Media/MediaError.h"

#include <algorithm>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace lumenwhirl {
namespace {

AVStream& audioOf(const InputFile& input) {
    AVStream* stream = input.firstStream(AVMEDIA_TYPE_AUDIO);
    if (!stream) throw MediaError(MediaError::Kind::noAudioTrack, input.path(), "no sound track");
    return *stream;
}

}  // namespace

CopiedAudio::CopiedAudio(const std::filesystem::path& audio, OutputFile& output)
    : input_(audio, AVMEDIA_TYPE_AUDIO),
      track_(input_, audioOf(input_), output),
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
