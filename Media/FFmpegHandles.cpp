#include "Media/FFmpegHandles.h"

#include <array>
#include <new>

extern "C" {
#include <libavutil/error.h>
}

namespace lumenwhirl {

FrameHandle makeFrame() {
    FrameHandle frame(av_frame_alloc());
    if (!frame) throw std::bad_alloc();
    return frame;
}

PacketHandle makePacket() {
    PacketHandle packet(av_packet_alloc());
    if (!packet) throw std::bad_alloc();
    return packet;
}

std::string reasonFor(int error) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(error, text.data(), text.size());
    return text.data();
}

int orOutOfMemory(int result) {
    if (result == AVERROR(ENOMEM)) throw std::bad_alloc();
    return result;
}

std::string urlOf(const std::string& file) {
    return "file:" + file;
}

}  // namespace lumenwhirl
