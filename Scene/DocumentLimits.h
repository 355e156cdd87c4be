#pragma once

#include "Engine/Documents/EventLog.h"
#include "Engine/Documents/ProjectSettings.h"

/// Documents hold whatever numbers were written into them; these are the bounds within which a video can be made.
namespace lumenwhirl::DocumentLimits {

inline constexpr double longestSeconds = 48 * 3600;
inline constexpr int largestCanvasSide = 16384;    // H.264's own bound
inline constexpr std::size_t mostEdits = 100'000;  // cuts, speed ranges, zoom segments, captions: of each

/// Throws FrameStates::Error naming the document, the key and the bound.
void check(const EventLog& events);
void check(const ProjectSettings& settings);

}  // namespace lumenwhirl::DocumentLimits
