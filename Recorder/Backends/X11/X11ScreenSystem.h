#pragma once

#include "Recorder/Platform/ScreenSystem.h"

#include <memory>
#include <string>

namespace lumenwhirl {

/// The desktop of an X server. `displayName`: as in DISPLAY; empty for the value of DISPLAY. Throws PlatformError.
///
/// Global points are the screen's pixels divided by the desktop's one scale. The fourth byte of a frame's pixels
/// is 0 or, for a translucent window, its alpha.
[[nodiscard]] std::unique_ptr<ScreenSystem> connectToX11(const std::string& displayName = {});

}  // namespace lumenwhirl
