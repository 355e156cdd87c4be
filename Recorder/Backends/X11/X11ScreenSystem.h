#pragma once

#include "Recorder/Platform/ScreenSystem.h"

#include <memory>
#include <string>

namespace lumenwhirl {

/// The desktop of an X server. `displayName`: as in DISPLAY; empty for what DISPLAY says. Throws PlatformError.
///
/// Global points are the screen's pixels divided by the desktop's one scale. A frame's fourth byte is 0 or, of a
/// translucent window, its alpha.
[[nodiscard]] std::unique_ptr<ScreenSystem> connectToX11(const std::string& displayName = {});

}  // namespace lumenwhirl
