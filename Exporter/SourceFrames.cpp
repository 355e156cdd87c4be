#include "Exporter/SourceFrames.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace lumenwhirl {
namespace {

constexpr int gridTicks = 600;  // a second; whole ticks for 24, 25, 30, 50 and 60 frames a second
constexpr double hair = 1e-6;   // seconds: much less than a frame, much more than all rounding errors
// Seconds: as far as key frames are usually apart. Less is sooner decoded than jumped over.
constexpr double worthSeeking = 1;

}  // namespace

Rational Showings::timeBase(Rational recorded, int fps) noexcept {
    constexpr int finest = 1'000'000;
    if (recorded.value() * fps <= 1 || recorded.numerator > finest) return recorded;
    return {recorded.numerator, recorded.denominator * 4 * static_cast<int>(std::ceil(recorded.value() * fps))};
}

Showings::Showings(const VideoFrame& frame, double until, int fps, Rational recorded)
    : timeBase_(timeBase(recorded, fps)),
      first_(frame.pts() * (timeBase_.denominator / recorded.denominator)),
      ticksPerFrame_(1 / (timeBase_.value() * fps)) {
    const double frames = (until - frame.time()) * fps;
    // The last one no closer to the next frame than half a frame.
    if (frames > 2 + hair && ticksPerFrame_ >= 1) count_ += static_cast<std::int64_t>(frames - 0.5);
}

std::int64_t Showings::pts(std::int64_t index) const noexcept {
    return first_ + std::llround(static_cast<double>(index) * ticksPerFrame_);
}

double Showings::time(std::int64_t index) const noexcept {
    return static_cast<double>(pts(index)) * timeBase_.numerator / timeBase_.denominator;
}

double Showings::newestAt(double time) const noexcept {
    const double frames = (time - this->time(0)) / (ticksPerFrame_ * timeBase_.value());
    auto index = static_cast<std::int64_t>(std::clamp(frames + 1, 0.0, static_cast<double>(count_ - 1)));
    while (index > 0 && this->time(index) > time + hair) --index;
    return this->time(index);
}

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
    return times_ == Times::recorded ? Showings::timeBase(reader_.info().timeBase, fps_) : Rational{1, gridTicks};
}

double SourceFrames::endOf(const VideoFrame& frame, const std::optional<VideoFrame>& following,
                           const VideoInfo& info, int fps) {
    return following ? following->time() : std::max(info.end, frame.time() + 1.0 / fps);
}

void SourceFrames::begin() {
    if (std::exchange(hasBegun_, true)) return;
    current_ = reader_.next();
    following_ = reader_.next();
}

std::optional<SourceFrames::Item> SourceFrames::nextRecorded() {
    while (current_) {
        double end = endOf(*current_, following_, reader_.info(), fps_);
        // After the timeline's end nothing changes, however long a damaged file claims to last.
        if (!following_) end = std::min(end, std::max(current_->time() + 1.0 / fps_, timeline_.sourceDuration()));
        const Showings showings(*current_, std::min(end, timeline_.sourceDuration()), fps_,
                                reader_.info().timeBase);
        if (index_ < showings.count()) {
            const std::int64_t showing = index_++;
            return Item{*current_, showings.time(showing), showings.pts(showing), end, showing > 0};
        }
        current_ = std::exchange(following_, std::nullopt);
        if (current_) following_ = reader_.next();
        index_ = 0;
    }
    return std::nullopt;
}

std::optional<SourceFrames::Item> SourceFrames::next() {
    begin();
    if (times_ == Times::recorded) return nextRecorded();
    if (index_ >= totalFrames_) return std::nullopt;
    const double sourceTime = gridSourceTime(timeline_, index_, fps_);
    if (following_ && sourceTime - following_->time() > worthSeeking && reader_.info().isIndexed) {
        reader_.seek(sourceTime);
        current_ = reader_.next();
        following_ = reader_.next();
    }
    while (following_ && following_->time() <= sourceTime) {
        current_ = std::move(following_);
        following_ = reader_.next();
    }
    if (!current_) return std::nullopt;
    const double outputTime = static_cast<double>(index_++) / fps_;
    return Item{*current_, sourceTime, std::llround(outputTime * gridTicks), outputTime + 1.0 / fps_};
}

}  // namespace lumenwhirl
