#include "Exporter/FramePool.h"

#include "Exporter/PictureOf.h"

#include <algorithm>

namespace lumenwhirl {

FramePool::FramePool(const FrameCompositor& compositor, int width, int height)
    : compositor_(compositor), width_(width), height_(height) {}

VideoFrame FramePool::take() {
    const auto free = std::ranges::find_if(frames_, [](const VideoFrame& frame) { return frame.isUnshared(); });
    if (free != frames_.end()) return *free;
    VideoFrame& frame = frames_.emplace_back(VideoFrame::allocate(width_, height_, PixelFormat::yuv420p8));
    compositor_.drawBase(mutablePictureOf(frame));
    return frame;
}

}  // namespace lumenwhirl
