#pragma once

#include "Media/FFmpegHandles.h"
#include "Media/InputFile.h"

#include <cstdint>
#include <optional>
#include <string>

namespace lumenwhirl {

/// Decodes one track of an input, which nobody else may read meanwhile.
class StreamDecoder {
public:
    /// Throws MediaError (unsupported) without a decoder for the track.
    StreamDecoder(InputFile& input, AVStream& stream);

    /// The next frame in presentation order; false at the end. After a failure the frames before it still come,
    /// then every call throws MediaError (damaged) until the next seek; its message says where the damage begins.
    [[nodiscard]] bool receive(AVFrame& frame);
    /// Continues at the last key frame whose decoding time is at or before `timestamp` (in the stream's ticks), or
    /// at the start. False, with nothing changed, if the file does not allow it.
    [[nodiscard]] bool seek(std::int64_t timestamp);

    [[nodiscard]] const AVCodecContext& codec() const noexcept { return *codec_; }
    [[nodiscard]] AVStream& stream() const noexcept { return stream_; }
    /// Reads the rest of the file without decoding it, as some files have no other index than their packets. Only
    /// seek() may follow.
    void learnIndex();
    /// Of the packets read since the start or the last seek, in the stream's ticks; AV_NOPTS_VALUE without any.
    [[nodiscard]] std::int64_t firstDecodeTime() const noexcept { return firstDecodeTime_; }
    [[nodiscard]] std::int64_t lastDecodeTime() const noexcept { return lastDecodeTime_; }
    [[nodiscard]] std::int64_t endOfPackets() const noexcept { return endOfPackets_; }

private:
    void feed();
    void failDecoding(int result);
    [[noreturn]] void throwFailure() const;

    InputFile& input_;
    AVStream& stream_;
    CodecHandle codec_;
    PacketHandle packet_ = makePacket();
    std::int64_t firstDecodeTime_ = AV_NOPTS_VALUE, lastDecodeTime_ = AV_NOPTS_VALUE;
    std::int64_t endOfPackets_ = AV_NOPTS_VALUE;
    std::int64_t latestFrame_ = AV_NOPTS_VALUE;  // time of the last frame given, in the stream's ticks
    std::optional<std::string> failure_;         // what is wrong, once something is
};

}  // namespace lumenwhirl
