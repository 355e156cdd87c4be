#include "Compositor/CairoHandles.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <numbers>

namespace lumenwhirl {

Drawing::Drawing(cairo_format_t format, int width, int height)
    : width_(std::max(width, 1)),
      height_(std::max(height, 1)),
      surface_(cairo_image_surface_create(format, width_, height_)),
      context_(cairo_create(surface_.get())) {
    if (cairo_status(context_.get()) != CAIRO_STATUS_SUCCESS) throw std::bad_alloc();
    cairo_set_antialias(context_.get(), CAIRO_ANTIALIAS_BEST);
}

void Drawing::setColor(const Color& color) const {
    cairo_set_source_rgba(context_.get(), color.red, color.green, color.blue, color.alpha);
}

void Drawing::roundedRectangle(double x, double y, double width, double height, double radius) const {
    constexpr double quarter = std::numbers::pi / 2;
    cairo_t* cr = context_.get();
    const double r = std::max(std::min({radius, width / 2, height / 2}), 0.0);
    cairo_new_sub_path(cr);
    cairo_arc(cr, x + width - r, y + r, r, -quarter, 0);
    cairo_arc(cr, x + width - r, y + height - r, r, 0, quarter);
    cairo_arc(cr, x + r, y + height - r, r, quarter, 2 * quarter);
    cairo_arc(cr, x + r, y + r, r, 2 * quarter, 3 * quarter);
    cairo_close_path(cr);
}

const unsigned char* Drawing::row(int y) const {
    cairo_surface_flush(surface_.get());
    return cairo_image_surface_get_data(surface_.get()) +
           static_cast<std::ptrdiff_t>(y) * cairo_image_surface_get_stride(surface_.get());
}

Image Drawing::image() const {
    Image image(width_, height_);
    for (int y = 0; y < height_; ++y) {
        const unsigned char* in = row(y);
        std::uint8_t* out = image.row(y);
        for (int x = 0; x < width_; ++x, in += 4, out += 4) {
            std::uint32_t pixel = 0;
            std::memcpy(&pixel, in, 4);
            out[0] = static_cast<std::uint8_t>(pixel >> 16);
            out[1] = static_cast<std::uint8_t>(pixel >> 8);
            out[2] = static_cast<std::uint8_t>(pixel);
            out[3] = static_cast<std::uint8_t>(pixel >> 24);
        }
    }
    return image;
}

}  // namespace lumenwhirl
