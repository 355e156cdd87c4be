#pragma once

#include "Pixels/Picture.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumenwhirl {

/// A colour, gamma-encoded sRGB, not premultiplied; components 0...1.
struct Color {
    double red = 0, green = 0, blue = 0, alpha = 1;
    bool operator==(const Color&) const = default;
};

/// Artwork: RGBA, 8 bits a component, gamma-encoded sRGB, premultiplied alpha, rows top-down without padding.
struct Image {
    int width = 0, height = 0;
    std::vector<std::uint8_t> pixels;  // 4 * width * height bytes

    Image() = default;
    /// Transparent. Throws std::bad_alloc.
    Image(int pixelWidth, int pixelHeight)
        : width(pixelWidth),
          height(pixelHeight),
          pixels(std::size_t{4} * static_cast<std::size_t>(pixelWidth) * static_cast<std::size_t>(pixelHeight)) {}
    [[nodiscard]] std::size_t stride() const noexcept { return std::size_t{4} * static_cast<std::size_t>(width); }
    [[nodiscard]] const std::uint8_t* row(int y) const noexcept {
        return pixels.data() + stride() * static_cast<std::size_t>(y);
    }
    [[nodiscard]] std::uint8_t* row(int y) noexcept {
        return pixels.data() + stride() * static_cast<std::size_t>(y);
    }
    bool operator==(const Image&) const = default;
};

/// Opaque; chroma interpolated linearly from where its samples sit. Of PixelFormat::yuv420p8.
[[nodiscard]] Image imageFromPicture(const Picture& picture);
/// The same into an image whose memory is used again.
void imageFromPicture(const Picture& picture, Image& image);
/// Only for opaque images; chroma filtered to where its samples sit. Odd last rows and columns are dropped.
[[nodiscard]] Picture pictureFromImage(const Image& image);

}  // namespace lumenwhirl
