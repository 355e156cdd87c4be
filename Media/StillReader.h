#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace lumenwhirl {

/// A decoded still picture: RGBA, 8 bits a component, alpha not premultiplied, rows top-down without padding.
struct StillPicture {
    int width = 0, height = 0;
    std::vector<std::uint8_t> pixels;  // 4 * width * height bytes
};

/// Decodes a PNG, JPEG, WebP, BMP, TIFF, PPM or GIF (its first picture). Throws MediaError: cannotOpen, damaged,
/// unsupported (also for a side above 16384).
[[nodiscard]] StillPicture readStill(const std::filesystem::path& file);

}  // namespace lumenwhirl
