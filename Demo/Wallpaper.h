#pragma once

#include "Demo/CairoHandles.h"

#include <cstdint>

namespace lumenwhirl::demo {

/// Rows of misty hills under a wide sky: by day, or at night with a moon and stars. Opaque, `width` by `height`
/// device pixels; `seed` shifts the hills. Dithered, so that the soft gradients show no bands. Throws
/// std::bad_alloc.
[[nodiscard]] SurfaceHandle makeWallpaper(int width, int height, bool night, std::uint64_t seed);

}  // namespace lumenwhirl::demo
