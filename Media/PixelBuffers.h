#pragma once

#include "Media/FFmpegHandles.h"
#include "Pixels/Picture.h"
#include "Pixels/PicturePool.h"

#include <optional>

namespace lumenwhirl {

/// libavutil's name for the format.
[[nodiscard]] AVPixelFormat libraryFormat(PixelFormat format) noexcept;

/// A frame that shares the pixels of `picture`, tagged as ours; without a time. Throws std::bad_alloc.
[[nodiscard]] FrameHandle frameAround(const Picture& picture);

/// Copies 4:2:0 pixels of three planes into two: chroma interleaved, as graphics cards take it (NV12). Both of the
/// same even size.
void copyAsNv12(const AVFrame& from, Picture& to);

/// Makes decoded frames pictures of PixelFormat::yuv420p8.
class FrameConverter {
public:
    /// Even sides, BT.709 limited 4:2:0: as it is where it already is that, else a conversion. Empty when there is
    /// no way to convert the frame's format.
    [[nodiscard]] std::optional<Picture> convert(FrameHandle frame);

private:
    [[nodiscard]] bool prepare(const AVFrame& frame);

    struct Source {
        int width = 0, height = 0, format = -1, matrix = -1, fullRange = 0, chromaSite = -1;
        bool operator==(const Source&) const = default;
    };
    Source source_;
    ScalerHandle scaler_;
    PicturePool pool_;
};

}  // namespace lumenwhirl
