#include "Media/VideoFrame.h"

#include "Media/PixelBuffers.h"

#include <atomic>

namespace lumenwhirl {

VideoFrame VideoFrame::allocate(int width, int height, PixelFormat format) {
    VideoFrame frame;
    frame.frame_ = allocatePixels(width, height, libraryFormat(format));
    frame.format_ = format;
    return frame;
}

int VideoFrame::width() const noexcept {
    return frame_ ? frame_->width : 0;
}
int VideoFrame::height() const noexcept {
    return frame_ ? frame_->height : 0;
}
const std::uint8_t* VideoFrame::plane(int index) const noexcept {
    return frame_->data[index];
}
std::uint8_t* VideoFrame::mutablePlane(int index) noexcept {
    return frame_->data[index];
}
std::ptrdiff_t VideoFrame::stride(int index) const noexcept {
    return frame_->linesize[index];
}

bool VideoFrame::isUnshared() const noexcept {
    const bool isAlone = frame_.use_count() == 1 && av_frame_is_writable(frame_.get()) > 0;
    // The count is read without ordering: what the last other owner did must have happened before we write.
    std::atomic_thread_fence(std::memory_order_acquire);
    return isAlone;
}

}  // namespace lumenwhirl
