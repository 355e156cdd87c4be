#pragma once

#include <cairo.h>
#include <pango/pangocairo.h>

#include <memory>

namespace lumenwhirl::demo {

template <auto release>
struct ReleasedBy {
    template <class T>
    void operator()(T* handle) const noexcept {
        release(handle);
    }
};
using SurfaceHandle = std::unique_ptr<cairo_surface_t, ReleasedBy<&cairo_surface_destroy>>;
using ContextHandle = std::unique_ptr<cairo_t, ReleasedBy<&cairo_destroy>>;
using PatternHandle = std::unique_ptr<cairo_pattern_t, ReleasedBy<&cairo_pattern_destroy>>;
using RegionHandle = std::unique_ptr<cairo_region_t, ReleasedBy<&cairo_region_destroy>>;
using FontOptionsHandle = std::unique_ptr<cairo_font_options_t, ReleasedBy<&cairo_font_options_destroy>>;
using FontHandle = std::unique_ptr<PangoFontDescription, ReleasedBy<&pango_font_description_free>>;
using AttributesHandle = std::unique_ptr<PangoAttrList, ReleasedBy<&pango_attr_list_unref>>;
template <class T>
using ObjectHandle = std::unique_ptr<T, ReleasedBy<&g_object_unref>>;

}  // namespace lumenwhirl::demo
