#pragma once

#include "Pixels/Image.h"

#include <filesystem>

namespace lumenwhirl {

/// Writes a PNG file, atomically. Throws FileError.
void writePng(const Image& image, const std::filesystem::path& file);

}  // namespace lumenwhirl
