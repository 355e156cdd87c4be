#include "Pixels/Picture.h"

#include <memory>
#include <new>
#include <utility>

namespace lumenwhirl {
namespace {

constexpr std::size_t alignment = 64;  // bytes: a cache line, and the widest SIMD register
// Encoders may read whole blocks of rows beyond the last, and a vector beyond the last row.
constexpr int rowsOfABlock = 32;
constexpr std::size_t roomAfterPlane = 2 * alignment;

constexpr std::size_t roundedUp(std::size_t value, std::size_t step) {
    return (value + step - 1) / step * step;
}

struct Layout {
    std::size_t rowBytes = 0;  // of samples; 0: there is no such plane
    int rows = 0;
};

std::array<Layout, 3> layoutOf(int width, int height, PixelFormat format) {
    const auto w = static_cast<std::size_t>(width);
    switch (format) {
        case PixelFormat::yuv420p8:
            return {{{w, height}, {w / 2, height / 2}, {w / 2, height / 2}}};
        case PixelFormat::yuv422p10:
            return {{{2 * w, height}, {w, height}, {w, height}}};
        case PixelFormat::nv12:
            return {{{w, height}, {w, height / 2}, {}}};
    }
    return {};
}

}  // namespace

Picture::Picture(int width, int height, PixelFormat format) {
    auto pixels = std::make_unique<Pixels>();
    pixels->format = format;
    pixels->width = width;
    pixels->height = height;
    const std::array<Layout, 3> layout = layoutOf(width, height, format);
    std::array<std::size_t, 3> offsets{};
    std::size_t bytes = 0;
    for (std::size_t p = 0; p < layout.size(); ++p) {
        const std::size_t stride = roundedUp(layout[p].rowBytes, alignment);
        pixels->strides[p] = static_cast<std::ptrdiff_t>(stride);
        offsets[p] = bytes;
        if (stride > 0)
            bytes += stride * roundedUp(static_cast<std::size_t>(layout[p].rows), rowsOfABlock) + roomAfterPlane;
    }
    auto* const memory = static_cast<std::uint8_t*>(::operator new (bytes, std::align_val_t{alignment}));
    pixels->owner = std::shared_ptr<const void>(
        memory, [](std::uint8_t* owned) { ::operator delete (owned, std::align_val_t{alignment}); });
    for (std::size_t p = 0; p < layout.size(); ++p)
        if (layout[p].rowBytes > 0) pixels->data[p] = memory + offsets[p];
    pixels_ = pixels.release();
}

Picture::Picture(int width, int height, PixelFormat format, const std::array<const std::uint8_t*, 3>& planes,
                 const std::array<std::ptrdiff_t, 3>& strides, std::shared_ptr<const void> owner)
    : pixels_(new Pixels) {
    pixels_->format = format;
    pixels_->width = width;
    pixels_->height = height;
    pixels_->strides = strides;
    pixels_->owner = std::move(owner);
    pixels_->isOurs = false;
    for (std::size_t p = 0; p < planes.size(); ++p)
        pixels_->data[p] = const_cast<std::uint8_t*>(planes[p]);  // mutablePlane() does not give it out
}

}  // namespace lumenwhirl
