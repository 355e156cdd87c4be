#pragma once

#include "Media/FFmpegHandles.h"
#include "Media/VideoFrame.h"

#include <memory>
#include <vector>

namespace lumenwhirl {

/// A frame with uninitialised pixels, tagged as ours. Throws std::bad_alloc.
[[nodiscard]] FrameHandle allocatePixels(int width, int height, AVPixelFormat format);

/// libavutil's name for the format.
[[nodiscard]] AVPixelFormat libraryFormat(PixelFormat format) noexcept;

/// A frame that shares the pixels of `frame` and has nothing else of it: no time, picture type or side data.
[[nodiscard]] FrameHandle sharePixels(const AVFrame& frame);

/// Copies 4:2:0 pixels of three planes into two: chroma interleaved, as graphics cards take it (NV12). Both of the
/// same even size.
void copyAsNv12(const AVFrame& from, AVFrame& to);

/// Makes decoded frames ones of PixelFormat::yuv420p8. Keeps the buffers it converts into and uses them again once
/// nobody else refers to them.
class FrameConverter {
public:
    /// Even sides, BT.709 limited 4:2:0: as it is where it already is that, else a conversion. Empty when there is
    /// no way to convert the frame's format.
    [[nodiscard]] std::shared_ptr<AVFrame> convert(FrameHandle frame);

private:
    [[nodiscard]] std::shared_ptr<AVFrame> freeFrame(int width, int height);
    [[nodiscard]] bool prepare(const AVFrame& frame);

    struct Source {
        int width = 0, height = 0, format = -1, matrix = -1, fullRange = 0, chromaSite = -1;
        bool operator==(const Source&) const = default;
    };
    Source source_;
    ScalerHandle scaler_;
    std::vector<std::shared_ptr<AVFrame>> pool_;
};

}  // namespace lumenwhirl
