#pragma once

#include "Media/FFmpegHandles.h"

#include <cstdint>
#include <deque>

namespace lumenwhirl {

/// Numbers frames on their way into an encoder and gives its packets the frames' own times back. Drivers keep
/// times in units of their own (Quick Sync: 1/90000 s), which would round ours; numbers survive.
class FrameNumbers {
public:
    /// `nominalTicks`: between two frames, at least 1; for the decoding times before the first frame's.
    explicit FrameNumbers(std::int64_t nominalTicks) : nominalTicks_(nominalTicks) {}

    /// The number that stands for the next frame's time; times ascend.
    [[nodiscard]] std::int64_t numberFor(std::int64_t pts);
    /// Changes a packet's numbers to times. False where no frame has such a number; packets come in decoding
    /// order.
    [[nodiscard]] bool restore(AVPacket& packet);

private:
    std::int64_t nominalTicks_;
    std::int64_t first_ = 0;          // number of the first of times_
    std::deque<std::int64_t> times_;  // of the frames that packets may still refer to
};

}  // namespace lumenwhirl
