#pragma once

#include "Pixels/Image.h"

#include <filesystem>

namespace lumenwhirl {

/// Writes a PNG, atomically (temporary file in the same folder, renamed). Throws std::runtime_error naming the
/// file.
void writePng(const Image& image, const std::filesystem::path& file);

}  // namespace lumenwhirl
