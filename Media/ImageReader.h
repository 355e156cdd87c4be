#pragma once

#include "Pixels/Image.h"

#include <filesystem>

namespace lumenwhirl {

/// Decodes a PNG, JPEG, WebP, BMP, TIFF, PPM or GIF (its first image). Throws MediaError: cannotOpen, damaged,
/// unsupported (also for a side above 16384, or more than 64 Mi pixels).
[[nodiscard]] Image readImage(const std::filesystem::path& file);

}  // namespace lumenwhirl
