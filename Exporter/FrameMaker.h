#pragma once

#include "Compositor/FrameCompositor.h"
#include "Exporter/SourceFrames.h"
#include "Media/VideoFrame.h"
#include "Scene/FrameStates.h"

#include <cstdint>
#include <deque>
#include <optional>

namespace lumenwhirl {

/// Draws the finished frames of an export, one after the other, in the pixel format of `Sample`. A frame that
/// shows the same as the last is the last one again. Frames that hold what surrounds the video are used again once
/// nobody else reads them.
template <class Sample>
class FrameMaker {
public:
    /// Draws what surrounds the video, which takes a while. `states` must outlive this.
    explicit FrameMaker(const FrameStates& states);
    /// Throws std::bad_alloc.
    [[nodiscard]] VideoFrame make(const SourceFrames::Item& item);

private:
    struct Pooled {
        VideoFrame frame;
        std::int64_t drawn = 0;  // what it shows, as the compositor counts
    };
    [[nodiscard]] Pooled& unusedFrame();

    const FrameStates& states_;
    BasicFrameCompositor<Sample> compositor_;
    std::deque<Pooled> pool_;
    std::optional<VideoFrame> source_, last_;
    FrameState state_;
};

}  // namespace lumenwhirl
