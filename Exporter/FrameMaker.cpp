#include "Exporter/FrameMaker.h"

#include "Exporter/PictureOf.h"

#include <algorithm>
#include <cstdint>
#include <thread>
#include <utility>

namespace lumenwhirl {
namespace {

/// How many threads draw: one draws faster than a few cores encode; many cores would wait for it.
int drawingThreads() {
    return std::clamp(static_cast<int>(std::thread::hardware_concurrency()) / 4, 1, 4);
}

}  // namespace

template <class Sample>
FrameMaker<Sample>::FrameMaker(const FrameStates& states) : states_(states), compositor_(drawingThreads()) {
    compositor_.prepareStyle(states.renderStyle(), states.canvas(), states.contentSize());
}

template <class Sample>
VideoFrame FrameMaker<Sample>::make(const SourceFrames::Item& item) {
    FrameState state = states_.state(item.sourceTime);
    const bool isSame = last_ && item.frame.plane(0) == source_->plane(0) && state == state_;
    if (isSame) return *last_;
    Pooled& pooled = unusedFrame();
    std::optional<typename BasicFrameCompositor<Sample>::Previous> previous;
    if (last_) previous = {pictureOf(*source_), finishedPictureOf<Sample>(*last_)};
    compositor_.renderChanges(pictureOf(item.frame), previous ? &*previous : nullptr, state,
                              mutablePictureOf<Sample>(pooled.frame), pooled.drawn);
    source_ = item.frame;  // kept, so that its memory is not another frame's meanwhile
    state_ = std::move(state);
    last_ = pooled.frame;
    return pooled.frame;
}

template <class Sample>
typename FrameMaker<Sample>::Pooled& FrameMaker<Sample>::unusedFrame() {
    const auto free = std::ranges::find_if(pool_, [](const Pooled& pooled) { return pooled.frame.isUnshared(); });
    if (free != pool_.end()) return *free;
    const Size canvas = states_.canvas();
    pool_.push_back({VideoFrame::allocate(static_cast<int>(canvas.width), static_cast<int>(canvas.height),
                                          pixelFormatOf<Sample>),
                     0});
    Pooled& pooled = pool_.back();
    compositor_.drawBase(mutablePictureOf<Sample>(pooled.frame));
    return pooled;
}

template class FrameMaker<std::uint8_t>;
template class FrameMaker<std::uint16_t>;

}  // namespace lumenwhirl
