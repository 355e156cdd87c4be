#pragma once

#include "Pixels/Image.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumenwhirl {

/// What a picture whose samples are of this type is like; always BT.709, limited range, chroma left-sited and in
/// half as many columns as luma.
template <class Sample>
struct PictureFormat;
/// 8 bits, 4:2:0: what is recorded, and what most encoders take.
template <>
struct PictureFormat<std::uint8_t> {
    static constexpr int unit = 1;             // steps of a sample to one of an 8-bit code
    static constexpr int chromaRowsShift = 1;  // luma rows to chroma rows
    static constexpr int lowest = 0, highest = 255;
};
/// 10 bits, 4:2:2: for editing.
template <>
struct PictureFormat<std::uint16_t> {
    static constexpr int unit = 4;
    static constexpr int chromaRowsShift = 0;
    // Codes beyond are for synchronisation (Rec. ITU-R BT.709-6, item 5.6).
    static constexpr int lowest = 4, highest = 1019;
};

/// One plane, borrowed. Rows are `stride` samples apart.
template <class Sample>
struct BasicPlane {
    Sample* data = nullptr;
    std::ptrdiff_t stride = 0;
    int width = 0, height = 0;
    [[nodiscard]] Sample* row(int y) const noexcept { return data + stride * y; }
};
using PlaneView = BasicPlane<const std::uint8_t>;
using MutablePlane = BasicPlane<std::uint8_t>;

/// A video picture, borrowed: planes Y, U, V of PictureFormat<Sample>, sizes even.
template <class Sample>
struct BasicPicture {
    std::array<BasicPlane<Sample>, 3> planes;
    [[nodiscard]] int width() const noexcept { return planes[0].width; }
    [[nodiscard]] int height() const noexcept { return planes[0].height; }
};
using PictureView = BasicPicture<const std::uint8_t>;
using MutablePicture = BasicPicture<std::uint8_t>;

/// A video picture that owns its pixels. Sizes even.
template <class Sample>
class PictureBuffer {
public:
    PictureBuffer() = default;
    /// Black. Throws std::bad_alloc.
    PictureBuffer(int width, int height);
    [[nodiscard]] BasicPicture<const Sample> view() const noexcept;
    [[nodiscard]] BasicPicture<Sample> mutableView() noexcept;
    [[nodiscard]] int width() const noexcept { return width_; }
    [[nodiscard]] int height() const noexcept { return height_; }

private:
    int width_ = 0, height_ = 0;
    std::vector<Sample> samples_;
};
using Picture = PictureBuffer<std::uint8_t>;

/// Opaque; chroma interpolated linearly from where its samples sit.
[[nodiscard]] Image imageFromPicture(const PictureView& picture);
/// Opaque pixels only count; chroma filtered to where its samples sit. Odd last rows and columns are dropped.
[[nodiscard]] Picture pictureFromImage(const Image& image);

}  // namespace lumenwhirl
