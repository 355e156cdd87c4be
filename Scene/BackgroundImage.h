#pragma once

#include "Pixels/Image.h"

#include <filesystem>
#include <optional>

namespace lumenwhirl {

/// Decodes a still picture of any usual format; empty when it cannot.
[[nodiscard]] std::optional<Image> loadBackgroundImage(const std::filesystem::path& file);

}  // namespace lumenwhirl
