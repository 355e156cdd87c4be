#pragma once

#include "Media/VideoFrame.h"
#include "Pixels/Picture.h"

#include <cassert>
#include <cstdint>
#include <type_traits>

namespace lumenwhirl {

template <class Sample>
inline constexpr PixelFormat pixelFormatOf =
    std::is_same_v<Sample, std::uint8_t> ? PixelFormat::yuv420p8 : PixelFormat::yuv422p10;

/// A recorded frame as the compositor sees it; valid as long as the frame.
[[nodiscard]] inline PictureView pictureOf(const VideoFrame& frame) {
    const int w = frame.width(), h = frame.height();
    return {{{{frame.plane(0), frame.stride(0), w, h},
              {frame.plane(1), frame.stride(1), w / 2, h / 2},
              {frame.plane(2), frame.stride(2), w / 2, h / 2}}}};
}

/// A frame of pixelFormatOf<Sample>, to be drawn on.
template <class Sample>
[[nodiscard]] BasicPicture<Sample> mutablePictureOf(VideoFrame& frame) {
    assert(frame.format() == pixelFormatOf<Sample>);
    constexpr auto sampleSize = static_cast<std::ptrdiff_t>(sizeof(Sample));
    const auto plane = [&](int index, int width, int height) {
        // Rows are aligned for far larger types.
        return BasicPlane<Sample>{reinterpret_cast<Sample*>(frame.mutablePlane(index)),
                                  frame.stride(index) / sampleSize, width, height};
    };
    const int w = frame.width(), h = frame.height();
    const int chromaRows = h >> PictureFormat<Sample>::chromaRowsShift;
    return {{{plane(0, w, h), plane(1, w / 2, chromaRows), plane(2, w / 2, chromaRows)}}};
}

/// The same, to be read.
template <class Sample>
[[nodiscard]] BasicPicture<const Sample> finishedPictureOf(VideoFrame frame) {
    const BasicPicture<Sample> picture = mutablePictureOf<Sample>(frame);
    BasicPicture<const Sample> view;
    for (std::size_t p = 0; p < 3; ++p) {
        const BasicPlane<Sample>& plane = picture.planes[p];
        view.planes[p] = {plane.data, plane.stride, plane.width, plane.height};
    }
    return view;
}

}  // namespace lumenwhirl
