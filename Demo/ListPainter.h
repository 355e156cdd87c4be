#pragma once

#include "Demo/CairoHandles.h"
#include "Demo/DisplayList.h"

#include <cstdint>
#include <string>
#include <unordered_map>

namespace lumenwhirl::demo {

/// Draws a display list with Cairo. Keeps text layouts and blurred shadows, so that drawing the same things again
/// is cheap. Not shared between threads. Throws std::bad_alloc.
class ListPainter {
public:
    /// `scale`: device pixels a logical pixel.
    explicit ListPainter(double scale);
    /// Draws what touches `region` (device pixels), clipped to it. `wallpaper` has the target's size.
    void paint(cairo_surface_t* target, const DisplayList& list, const cairo_region_t* region,
               cairo_surface_t* wallpaper);

private:
    void draw(cairo_t* context, const DrawCommand& command, cairo_surface_t* wallpaper);
    void drawShadow(cairo_t* context, const DrawCommand& command);
    void drawText(cairo_t* context, const DrawCommand& command);
    PangoLayout* layoutFor(const DrawCommand& command);

    double scale_;
    ObjectHandle<PangoFontMap> fontMap_;
    ObjectHandle<PangoContext> textContext_;
    std::unordered_map<std::string, ObjectHandle<PangoLayout>> layouts_;  // by text, style and width
    std::unordered_map<std::uint64_t, SurfaceHandle> shadows_;
};

}  // namespace lumenwhirl::demo
