#pragma once

#include "Compositor/FrameCompositor.h"
#include "Media/VideoFrame.h"

#include <vector>

namespace lumenwhirl {

/// Output frames that already hold what surrounds the video, used again once the encoder is done with them.
class FramePool {
public:
    /// `compositor` has its style prepared for a canvas of this size, and must outlive the pool.
    FramePool(const FrameCompositor& compositor, int width, int height);
    /// A frame nobody else draws on or reads. Throws std::bad_alloc.
    [[nodiscard]] VideoFrame take();

private:
    const FrameCompositor& compositor_;
    int width_, height_;
    std::vector<VideoFrame> frames_;
};

}  // namespace lumenwhirl
