#pragma once

#include "Engine/Documents/EventLog.h"
#include "Engine/Geometry/Point.h"

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
