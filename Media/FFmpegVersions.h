#pragma once

#include "Media/FFmpegHandles.h"

#include <cstdint>

/// What differs between FFmpeg 5.1 and 7.1, in one place.
namespace lumenwhirl {

/// The matrix with which to show the stream's pictures (9 integers), or null. 7.1 keeps it in the codec
/// parameters and deprecates the call that 5.1 has.
[[nodiscard]] inline const std::int32_t* displayMatrix(const AVStream& stream) {
#if LIBAVFORMAT_VERSION_INT >= AV_VERSION_INT(60, 15, 100)
    const AVPacketSideData* data = av_packet_side_data_get(
        stream.codecpar->coded_side_data, stream.codecpar->nb_coded_side_data, AV_PKT_DATA_DISPLAYMATRIX);
    if (!data || data->size < 9 * sizeof(std::int32_t)) return nullptr;
    return reinterpret_cast<const std::int32_t*>(data->data);
#else
    std::size_t size = 0;
    const std::uint8_t* data = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
    if (!data || size < 9 * sizeof(std::int32_t)) return nullptr;
    return reinterpret_cast<const std::int32_t*>(data);
#endif
}

}  // namespace lumenwhirl
