#pragma once

#include "Compositor/Image.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumenwhirl {

/// One plane of 8-bit samples, borrowed. Rows are `stride` bytes apart.
template <class Byte>
struct BasicPlane {
    Byte* data = nullptr;
    std::ptrdiff_t stride = 0;
    int width = 0, height = 0;
    [[nodiscard]] Byte* row(int y) const noexcept { return data + stride * y; }
};
using PlaneView = BasicPlane<const std::uint8_t>;
using MutablePlane = BasicPlane<std::uint8_t>;

/// A video picture, borrowed: planes Y, U, V in 4:2:0 at 8 bits, BT.709, limited range, left-sited chroma. The
/// chroma planes have half the (even) size of the luma plane.
template <class Byte>
struct BasicPicture {
    std::array<BasicPlane<Byte>, 3> planes;
    [[nodiscard]] int width() const noexcept { return planes[0].width; }
    [[nodiscard]] int height() const noexcept { return planes[0].height; }
};
using PictureView = BasicPicture<const std::uint8_t>;
using MutablePicture = BasicPicture<std::uint8_t>;

/// A video picture that owns its pixels. Sizes even.
class Picture {
public:
    Picture() = default;
    /// Black. Throws std::bad_alloc.
    Picture(int width, int height);
    [[nodiscard]] PictureView view() const noexcept;
    [[nodiscard]] MutablePicture mutableView() noexcept;
    [[nodiscard]] int width() const noexcept { return width_; }
    [[nodiscard]] int height() const noexcept { return height_; }

private:
    int width_ = 0, height_ = 0;
    std::vector<std::uint8_t> bytes_;
};

/// Opaque; chroma interpolated linearly from where its samples sit.
[[nodiscard]] Image imageFromPicture(const PictureView& picture);
/// Opaque pixels only count; chroma filtered to where its samples sit. Odd last rows and columns are dropped.
[[nodiscard]] Picture pictureFromImage(const Image& image);

}  // namespace lumenwhirl
