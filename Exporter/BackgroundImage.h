#pragma once

#include "Compositor/Image.h"

#include <filesystem>
#include <optional>

namespace lumenwhirl {

/// Decodes a still picture of any usual format; empty when it cannot, or when a side exceeds 16384 pixels.
[[nodiscard]] std::optional<Image> loadBackgroundImage(const std::filesystem::path& file);

}  // namespace lumenwhirl
