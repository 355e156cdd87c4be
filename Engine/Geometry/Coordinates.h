#pragma once

#include "Engine/Geometry/DisplayInfo.h"
#include "Engine/Geometry/Shapes.h"

/// Conversion between global screen points and captured video pixels.
namespace lumenwhirl::Coordinates {

/// Clamped into the captured area: 0 to the size, both included.
[[nodiscard]] Point globalPointToCapturedPixels(Point globalPoint, const DisplayInfo& display);
/// The inverse, not clamped.
[[nodiscard]] Point capturedPixelsToGlobalPoint(Point pixel, const DisplayInfo& display);

}  // namespace lumenwhirl::Coordinates
