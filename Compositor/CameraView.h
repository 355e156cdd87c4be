#pragma once

#include "Engine/Geometry/Size.h"
#include "Engine/Motion/CameraModel.h"

#include <algorithm>
#include <optional>

namespace lumenwhirl {

/// The part of the recorded frame that the camera shows: recorded pixel (x, y) is drawn at
/// ((x - left) * scale, (y - top) * scale) of a view as large as the frame.
struct CameraView {
    double left = 0, top = 0, scale = 1;
    bool operator==(const CameraView&) const = default;
};

/// `frame`: the recorded frame's size in pixels. The view never leaves the frame.
[[nodiscard]] inline CameraView viewOf(const std::optional<CameraState>& camera, Size frame) {
    if (!camera || !(camera->scale > 1.001)) return {};
    const double width = frame.width / camera->scale, height = frame.height / camera->scale;
    return {std::clamp(camera->center.x - width / 2, 0.0, frame.width - width),
            std::clamp(camera->center.y - height / 2, 0.0, frame.height - height), camera->scale};
}

}  // namespace lumenwhirl
