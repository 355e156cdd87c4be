#include "Exporter/SourceFrames.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace lumenwhirl {
namespace {

constexpr int gridTicks = 600;  // a second; whole ticks for 24, 25, 30, 50 and 60 frames a second
constexpr double hair = 1e-6;   // seconds: much less than a frame, much more than all rounding errors

}  // namespace

double SourceFrames::gridSourceTime(const EditTimeline& timeline, std::int64_t index, int fps) {
    return timeline.sourceTimeForOutput(static_cast<double>(index) / fps + hair);
}

SourceFrames::SourceFrames(VideoReader& reader, const EditTimeline& timeline, int fps, Times times)
    : reader_(reader),
      timeline_(timeline),
      fps_(fps),
      times_(times),
      totalFrames_(std::max<std::int64_t>(1, static_cast<std::int64_t>(fps * timeline.outputDuration()))) {}

Rational SourceFrames::timeBase() const noexcept {
    return times_ == Times::recorded ? reader_.info().timeBase : Rational{1, gridTicks};
}

std::optional<SourceFrames::Item> SourceFrames::next() {
    if (times_ == Times::recorded) {
        auto frame = reader_.next();
        if (!frame) return std::nullopt;
        const double time = frame->time();
        const std::int64_t pts = frame->pts();
        return Item{std::move(*frame), time, pts};
    }
    if (index_ >= totalFrames_) return std::nullopt;
    if (index_ == 0) {
        current_ = reader_.next();
        following_ = reader_.next();
    }
    const double sourceTime = gridSourceTime(timeline_, index_, fps_);
    while (following_ && following_->time() <= sourceTime) {
        current_ = std::move(following_);
        following_ = reader_.next();
    }
    if (!current_) return std::nullopt;
    const double outputTime = static_cast<double>(index_++) / fps_;
    return Item{*current_, sourceTime, std::llround(outputTime * gridTicks)};
}

}  // namespace lumenwhirl
