#pragma once

#include "Files/ReleasedBy.h"

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libavutil/frame.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

/// Owners of FFmpeg's handles. Only for Media's sources: no public header exposes FFmpeg.
namespace lumenwhirl {

using FrameHandle = std::unique_ptr<AVFrame, ReleasedBy<&av_frame_free>>;
using PacketHandle = std::unique_ptr<AVPacket, ReleasedBy<&av_packet_free>>;
using BufferHandle = std::unique_ptr<AVBufferRef, ReleasedBy<&av_buffer_unref>>;
using CodecHandle = std::unique_ptr<AVCodecContext, ReleasedBy<&avcodec_free_context>>;
using InputHandle = std::unique_ptr<AVFormatContext, ReleasedBy<&avformat_close_input>>;
using OutputHandle = std::unique_ptr<AVFormatContext, ReleasedBy<&avformat_free_context>>;
using ScalerHandle = std::unique_ptr<SwsContext, ReleasedBy<&sws_freeContext>>;
using ResamplerHandle = std::unique_ptr<SwrContext, ReleasedBy<&swr_free>>;

/// Options by name, for calls that take the address of a dictionary and leave in it what they did not know.
class Dictionary {
public:
    Dictionary() = default;
    Dictionary(std::initializer_list<std::pair<const char*, std::string>> entries) {
        for (const auto& [key, value] : entries) set(key, value);
    }
    ~Dictionary() { av_dict_free(&dictionary_); }
    Dictionary(const Dictionary&) = delete;
    Dictionary& operator=(const Dictionary&) = delete;

    void set(const char* key, const std::string& value) { av_dict_set(&dictionary_, key, value.c_str(), 0); }
    [[nodiscard]] AVDictionary** address() noexcept { return &dictionary_; }

private:
    AVDictionary* dictionary_ = nullptr;
};

/// Never null; throw std::bad_alloc.
[[nodiscard]] FrameHandle makeFrame();
[[nodiscard]] PacketHandle makePacket();

/// The library's words for its error code.
[[nodiscard]] std::string reasonFor(int error);
/// Returns `result`, but throws std::bad_alloc if it says that memory ran out, as no file is to blame for that.
int orOutOfMemory(int result);

/// The number in a field of a library's struct. A file can make it one that the enum does not have, and then C++
/// leaves undefined what reading the field as its enum does.
template <class Enum>
[[nodiscard]] int rawNumber(const Enum& field) noexcept {
    static_assert(std::is_enum_v<Enum> && sizeof(Enum) == sizeof(int));
    int number = 0;
    std::memcpy(&number, &field, sizeof number);
    return number;
}

/// libavformat's URL of a local file. It names the protocol, or a colon in the file's name would end one.
[[nodiscard]] std::string urlOf(const std::string& file);

/// Tagged as every VideoFrame is: BT.709, limited range, left-sited chroma.
template <class Tagged>
void tagAsOurs(Tagged& tagged) {
    tagged.color_primaries = AVCOL_PRI_BT709;
    tagged.color_trc = AVCOL_TRC_BT709;
    tagged.colorspace = AVCOL_SPC_BT709;
    tagged.color_range = AVCOL_RANGE_MPEG;
}

}  // namespace lumenwhirl
