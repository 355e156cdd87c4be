#pragma once

#include "Scene/FrameStates.h"

#include <span>
#include <string>
#include <vector>

namespace lumenwhirl {

struct InspectedVideo {
    Size size;            // pixels
    int fps = 60;         // of an export
    double duration = 0;  // seconds
};

enum class TimesAre { output, source };

/// All that the models say, as indented JSON without a line end; one state for each of `times`, in their order.
[[nodiscard]] std::string inspectionReport(const InspectedVideo& video, const FrameStates& states,
                                           std::span<const ZoomSegment> autoSegments,
                                           std::span<const double> times, TimesAre timesAre);

}  // namespace lumenwhirl
