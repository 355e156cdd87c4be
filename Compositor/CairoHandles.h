#pragma once

#include "Files/ReleasedBy.h"
#include "Pixels/Image.h"

#include <cairo.h>
#include <pango/pangocairo.h>

#include <memory>

namespace lumenwhirl {

using CairoSurface = std::unique_ptr<cairo_surface_t, ReleasedBy<&cairo_surface_destroy>>;
using CairoContext = std::unique_ptr<cairo_t, ReleasedBy<&cairo_destroy>>;
template <class T>
using GObjectHandle = std::unique_ptr<T, ReleasedBy<&g_object_unref>>;
using FontDescription = std::unique_ptr<PangoFontDescription, ReleasedBy<&pango_font_description_free>>;

/// A transparent surface to draw on. Throws std::bad_alloc.
class Drawing {
public:
    Drawing(cairo_format_t format, int width, int height);
    [[nodiscard]] cairo_t* context() const noexcept { return context_.get(); }
    void setColor(const Color& color) const;
    /// Adds a rounded rectangle to the path.
    void roundedRectangle(double x, double y, double width, double height, double radius) const;
    /// Rows of the finished surface: 32-bit native-endian premultiplied ARGB, or 8-bit coverage.
    [[nodiscard]] const unsigned char* row(int y) const;
    [[nodiscard]] Image image() const;  // of an ARGB32 drawing

private:
    int width_, height_;
    CairoSurface surface_;
    CairoContext context_;
};

}  // namespace lumenwhirl
