#pragma once

#include "Compositor/Picture.h"
#include "Media/VideoFrame.h"

namespace lumenwhirl {

/// A media frame as the compositor sees it; valid as long as the frame.
[[nodiscard]] inline PictureView pictureOf(const VideoFrame& frame) {
    const int w = frame.width(), h = frame.height();
    return {{{{frame.plane(0), frame.stride(0), w, h},
              {frame.plane(1), frame.stride(1), w / 2, h / 2},
              {frame.plane(2), frame.stride(2), w / 2, h / 2}}}};
}
[[nodiscard]] inline MutablePicture mutablePictureOf(VideoFrame& frame) {
    const int w = frame.width(), h = frame.height();
    return {{{{frame.mutablePlane(0), frame.stride(0), w, h},
              {frame.mutablePlane(1), frame.stride(1), w / 2, h / 2},
              {frame.mutablePlane(2), frame.stride(2), w / 2, h / 2}}}};
}

}  // namespace lumenwhirl
