#include "Engine/Timeline/EditTimeline.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <queue>

namespace lumenwhirl {
namespace {

constexpr double tolerance = 0.000001;  // seconds; times this close to kept material count as part of it

/// What trims leave of the recording; empty (start >= end) when they leave nothing.
TimeRange trimmed(const Timeline& timeline, double duration) {
    // The order of the arguments matters: NaN counts as 0.
    const double start = std::max(0.0, std::min(timeline.trimStart, duration));
    const bool endsEarly = timeline.trimEnd > 0 && timeline.trimEnd <= duration;
    return {start, endsEarly ? timeline.trimEnd : duration};
}

/// What the cuts leave of `kept`, in order. One pass is enough: with cuts sorted by start, a cut can only affect
/// the last piece, as every earlier one ends at or before the start of a cut already applied.
std::vector<TimeRange> withoutCuts(TimeRange kept, const std::vector<TimeRange>& stored) {
    std::vector<TimeRange> cuts;
    cuts.reserve(stored.size());
    std::copy_if(stored.begin(), stored.end(), std::back_inserter(cuts),
                 [](const TimeRange& cut) { return cut.start < cut.end; });
    std::sort(cuts.begin(), cuts.end(),
              [](const TimeRange& left, const TimeRange& right) { return left.start < right.start; });

    std::vector<TimeRange> pieces;
    for (const TimeRange& cut : cuts) {
        if (!(kept.end > cut.start)) break;
        if (!(cut.end > kept.start)) continue;
        if (kept.start < cut.start) pieces.push_back({kept.start, cut.start});
        kept.start = cut.end;
        if (!(kept.start < kept.end)) break;
    }
    if (kept.start < kept.end) pieces.push_back(kept);
    return pieces;
}

/// The rate at a time: that of the first stored speed range that contains it. Must be asked for ascending times.
class RateSweep {
public:
    explicit RateSweep(const std::vector<SpeedRange>& ranges) : ranges_(ranges) {
        for (std::size_t index = 0; index < ranges.size(); ++index)
            if (ranges[index].start < ranges[index].end && ranges[index].rate > 0) byStart_.push_back(index);
        std::sort(byStart_.begin(), byStart_.end(),
                  [&](std::size_t left, std::size_t right) { return ranges[left].start < ranges[right].start; });
    }

    [[nodiscard]] double rateAt(double time) {
        while (next_ < byStart_.size() && ranges_[byStart_[next_]].start <= time) active_.push(byStart_[next_++]);
        while (!active_.empty() && !(time < ranges_[active_.top()].end)) active_.pop();
        return active_.empty() ? 1.0 : ranges_[active_.top()].rate;
    }

private:
    const std::vector<SpeedRange>& ranges_;
    std::vector<std::size_t> byStart_;
    std::size_t next_ = 0;
    // The started ranges by stored position, lowest on top. An ended one is removed only when it is on top.
    std::priority_queue<std::size_t, std::vector<std::size_t>, std::greater<>> active_;
};

/// All times at which a speed range starts or ends, ascending, without duplicates.
std::vector<double> boundaries(const std::vector<SpeedRange>& ranges) {
    std::vector<double> times;
    times.reserve(2 * ranges.size());
    for (const SpeedRange& range : ranges) {
        if (!(range.start < range.end)) continue;
        times.push_back(range.start);
        times.push_back(range.end);
    }
    std::sort(times.begin(), times.end());
    times.erase(std::unique(times.begin(), times.end()), times.end());
    return times;
}

}  // namespace

EditTimeline::EditTimeline(const Timeline& timeline) : sourceDuration_(std::max(0.0, timeline.duration)) {
    const auto append = [this](double srcStart, double srcEnd, double storedRate) {
        const double rate = std::max(storedRate, minimumRate);
        const double outEnd = outputDuration_ + (srcEnd - srcStart) / rate;
        segments_.push_back({outputDuration_, outEnd, srcStart, srcEnd, rate});
        outputDuration_ = outEnd;
    };

    const std::vector<TimeRange> pieces = withoutCuts(trimmed(timeline, sourceDuration_), timeline.cuts);
    const std::vector<double> times = boundaries(timeline.speedRanges);
    RateSweep rates(timeline.speedRanges);
    auto boundary = times.begin();
    for (const TimeRange& piece : pieces) {
        double start = piece.start;
        const auto appendUntil = [&](double end) {
            append(start, end, rates.rateAt((start + end) * 0.5));
            start = end;
        };
        while (boundary != times.end() && *boundary <= piece.start) ++boundary;
        for (; boundary != times.end() && *boundary < piece.end; ++boundary) appendUntil(*boundary);
        appendUntil(piece.end);
    }

    if (segments_.empty()) {
        segments_.push_back({0, sourceDuration_, 0, sourceDuration_, 1});
        outputDuration_ = sourceDuration_;
    }
}

const EditTimeline::Segment& EditTimeline::segmentForOutput(double clampedTime) const {
    // Segments are contiguous from 0, so the first that ends later also starts at or before the time.
    const auto found = std::partition_point(segments_.begin(), segments_.end(),
                                            [&](const Segment& each) { return each.outEnd <= clampedTime; });
    return found == segments_.end() ? segments_.back() : *found;
}

double EditTimeline::clampedOutput(double outputTime) const {
    return std::min(std::max(0.0, outputTime), outputDuration_);
}

double EditTimeline::sourceTimeForOutput(double outputTime) const {
    const double time = clampedOutput(outputTime);
    const Segment& segment = segmentForOutput(time);
    return segment.srcStart + (time - segment.outStart) * segment.rate;
}

double EditTimeline::rateForOutput(double outputTime) const {
    return segmentForOutput(clampedOutput(outputTime)).rate;
}

double EditTimeline::outputTimeForSource(double sourceTime) const {
    const auto found = std::partition_point(segments_.begin(), segments_.end(),
                                            [&](const Segment& each) { return each.srcEnd < sourceTime; });
    if (found != segments_.end() && found->srcStart <= sourceTime)
        return found->outStart + (sourceTime - found->srcStart) / found->rate;
    return sourceTime < segments_.front().srcStart ? 0 : outputDuration_;
}

std::optional<double> EditTimeline::skipTarget(double sourceTime) const {
    // Only the first segment that does not end before the time can contain it.
    const auto near = std::partition_point(segments_.begin(), segments_.end(), [&](const Segment& each) {
        return each.srcEnd + tolerance < sourceTime;
    });
    if (near != segments_.end() && near->srcStart - tolerance <= sourceTime) return std::nullopt;
    const auto later = std::partition_point(segments_.begin(), segments_.end(),
                                            [&](const Segment& each) { return !(sourceTime < each.srcStart); });
    if (later == segments_.end()) return std::nullopt;
    return later->srcStart;
}

double EditTimeline::firstSourceStart() const {
    return segments_.front().srcStart;
}

double EditTimeline::lastSourceEnd() const {
    return segments_.back().srcEnd;
}

bool EditTimeline::isIdentity() const {
    const Segment& only = segments_.front();
    return segments_.size() == 1 && std::abs(only.srcStart) < tolerance && std::abs(only.rate - 1) < tolerance &&
           std::abs(only.srcEnd - sourceDuration_) < tolerance;
}

}  // namespace lumenwhirl
