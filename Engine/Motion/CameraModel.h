#pragma once

#include "Engine/Documents/EventLog.h"
#include "Engine/Documents/ProjectSettings.h"
#include "Engine/Geometry/Shapes.h"
#include "Engine/Motion/CursorRenderModel.h"
#include "Engine/Timeline/TimeOrder.h"

#include <algorithm>
#include <string>
#include <vector>

namespace lumenwhirl {

/// What the virtual camera shows at one moment.
struct CameraState {
    Point center;      // captured pixels
    double scale = 1;  // 1: the whole frame
    [[nodiscard]] static CameraState identity(Size frame);
    bool operator==(const CameraState&) const = default;
};

/// Ease-in-out cubic: 0 to 1 over 0...1, flat at both ends, steepest in the middle. Clamped outside.
[[nodiscard]] inline double easeInOutCubic(double fraction) {
    const double p = std::min(std::max(0.0, fraction), 1.0);
    if (p < 0.5) return 4 * p * p * p;
    const double left = 2 - 2 * p;
    return 1 - left * left * left / 2;
}

/// The zoom-and-pan camera: eased ramps in and out of each zoom segment, its centre following the drawn
/// cursor on a spring, always inside the frame. Times are source seconds. Built once, then only read.
class CameraModel {
public:
    static constexpr double followFrequency = 6;  // rad/s

    /// `frame` is the recorded frame in captured pixels; `easeIn` and `easeOut` seconds.
    CameraModel(std::vector<ZoomSegment> segments, const CursorRenderModel& cursor, Size frame, double easeIn,
                double easeOut, double zoomBias);

    [[nodiscard]] CameraState state(double t) const;
    [[nodiscard]] double scale(double t) const;

    struct AutoZoom {
        double defaultLevel = 1.75;
        double timeGap = 2.0;                               // seconds between clicks of one cluster
        double distGap = 400.0;                             // captured pixels between clicks of one cluster
        double easeIn = 0.6, easeOut = 0.6, holdPad = 1.0;  // seconds
    };
    /// Segments around clusters of clicks, with ids "auto-0", "auto-1", …
    [[nodiscard]] static std::vector<ZoomSegment> autoSegments(const std::vector<ClickEvent>& clicks,
                                                               const AutoZoom& options);

private:
    std::vector<ZoomSegment> segments_;  // ascending by start
    ClosedSpanIndex segmentIndex_;
    Size frame_;
    std::vector<CursorSample> centerTrajectory_;
    double easeIn_ = 0, easeOut_ = 0, zoomBias_ = 1;
};

}  // namespace lumenwhirl
