#pragma once

#include "Compositor/CairoHandles.h"
#include "Compositor/FrameCompositor.h"
#include "Pixels/Image.h"

#include <cstdint>
#include <cstring>
#include <string>

namespace lumenwhirl::testing {

using Implementation = FrameCompositor::Implementation;

inline Size sizeOf(const Picture& picture) {
    return {static_cast<double>(picture.width()), static_cast<double>(picture.height())};
}

/// The first frame of a new compositor.
template <class Sample = std::uint8_t>
Picture finished(const Picture& frame, const RenderStyle& style, Size canvas, const FrameState& state,
                 int threads = 1, Implementation how = Implementation::planar) {
    const auto compositor = FrameCompositor::make(PictureFormat<Sample>::pixelFormat, threads, how);
    compositor->prepare(style, canvas, sizeOf(frame));
    return compositor->compose(frame, state);
}

/// Where pictures of one size differ; empty if they do not.
template <class Sample = std::uint8_t>
std::string firstDifference(const Picture& a, const Picture& b) {
    for (std::size_t p = 0; p < 3; ++p) {
        const auto left = a.planes<Sample>()[p], right = b.planes<Sample>()[p];
        for (int y = 0; y < left.height; ++y)
            for (int x = 0; x < left.width; ++x)
                if (left.row(y)[x] != right.row(y)[x])
                    return "plane " + std::to_string(p) + " at " + std::to_string(x) + ", " + std::to_string(y);
    }
    return "";
}

/// The opaque pixels of a surface of 32 bits.
inline Image imageOf(cairo_surface_t* surface) {
    Image image(cairo_image_surface_get_width(surface), cairo_image_surface_get_height(surface));
    for (int y = 0; y < image.height; ++y) {
        const unsigned char* in =
            cairo_image_surface_get_data(surface) + y * cairo_image_surface_get_stride(surface);
        std::uint8_t* out = image.row(y);
        for (int x = 0; x < image.width; ++x, in += 4, out += 4) {
            std::uint32_t pixel = 0;
            std::memcpy(&pixel, in, 4);
            out[0] = static_cast<std::uint8_t>(pixel >> 16);
            out[1] = static_cast<std::uint8_t>(pixel >> 8);
            out[2] = static_cast<std::uint8_t>(pixel);
            out[3] = 255;
        }
    }
    return image;
}

}  // namespace lumenwhirl::testing
