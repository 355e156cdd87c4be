#pragma once

#include "Engine/Geometry/Size.h"
#include "Exporter/Preset.h"
#include "Media/VideoWriter.h"

namespace lumenwhirl {

/// How a preset's video is encoded. `canvas` in pixels, `timeBase` of the frame times that will be given.
[[nodiscard]] VideoSettings encoderSettings(Preset preset, Size canvas, int fps, Rational timeBase);

}  // namespace lumenwhirl
