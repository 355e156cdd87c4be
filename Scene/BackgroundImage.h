#pragma once

#include "Pixels/Image.h"

#include <filesystem>
#include <optional>

namespace lumenwhirl {

/// Decodes an image of any common format; empty if it cannot be read.
[[nodiscard]] std::optional<Image> loadBackgroundImage(const std::filesystem::path& file);

}  // namespace lumenwhirl
