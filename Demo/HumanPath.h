#pragma once

#include "Demo/Random.h"
#include "Engine/Documents/EventLog.h"
#include "Engine/Geometry/Point.h"

#include <vector>

namespace lumenwhirl::demo {

/// How a hand takes the pointer to a target: one bowed sweep with a bell-shaped speed, on long ways a little too
/// far, then a short correction; with a slight tremor while it moves.
///
/// Samples follow at 120 Hz from `startTime` to the arrival, exactly on `to`. Lengths are logical pixels;
/// `targetWidth` is the size of what must be hit, since a small target takes longer. Empty for no distance.
[[nodiscard]] std::vector<CursorSample> humanPath(Point from, Point to, double targetWidth, double startTime,
                                                  Random& random);

}  // namespace lumenwhirl::demo
