#pragma once

#include "Engine/Documents/EventLog.h"
#include "Engine/Geometry/Shapes.h"
#include "Engine/Timeline/TimeOrder.h"

#include <cstddef>
#include <optional>
#include <span>

/// Queries of a recorded path. Samples are ascending in `t`.
namespace lumenwhirl::CursorTrack {

/// By a linear scan; the earlier of two equally near. Empty for no samples.
[[nodiscard]] std::optional<CursorSample> nearestSample(std::span<const CursorSample> samples, double t);

/// Linear between the two samples around `t`, the end points outside; (0, 0) for no samples.
[[nodiscard]] Point interpolate(std::span<const CursorSample> samples, double t);

/// The point at `t` on the line from one sample to the next; the first one if both have the same time.
[[nodiscard]] Point interpolateBetween(const CursorSample& low, const CursorSample& high, double t);

}  // namespace lumenwhirl::CursorTrack

namespace lumenwhirl {

/// `CursorTrack::interpolate` for ascending times: remembers its place instead of searching. Gives exactly the
/// same points, even for a path that is not in order of time (which it has to search).
class PathWalker {
public:
    explicit PathWalker(std::span<const CursorSample> samples)
        : samples_(samples), ordered_(isInTimeOrder(samples)) {}

    [[nodiscard]] Point at(double t) {
        const bool inside = ordered_ && !samples_.empty() && t > samples_.front().t && t < samples_.back().t;
        if (!inside) return CursorTrack::interpolate(samples_, t);
        while (samples_[low_ + 1].t <= t) ++low_;
        return CursorTrack::interpolateBetween(samples_[low_], samples_[low_ + 1], t);
    }

private:
    std::span<const CursorSample> samples_;
    std::size_t low_ = 0;
    bool ordered_;
};

}  // namespace lumenwhirl
