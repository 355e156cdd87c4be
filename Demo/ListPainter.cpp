#include "Demo/ListPainter.h"

#include "Demo/IconPaths.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <new>
#include <numbers>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace lumenwhirl::demo {
namespace {

// A few hundred texts are on the screen at once; only those that are typed or counted come and go.
constexpr std::size_t mostLayouts = 2000;
constexpr std::size_t mostShadows = 64;

void setColor(cairo_t* context, const Color& color) {
    cairo_set_source_rgba(context, color.red, color.green, color.blue, color.alpha);
}

void roundedPath(cairo_t* context, Rect box, double radius) {
    radius = std::min({radius, box.width / 2, box.height / 2});
    if (radius <= 0) {
        cairo_rectangle(context, box.x, box.y, box.width, box.height);
        return;
    }
    constexpr double quarter = std::numbers::pi / 2;
    const double right = box.x + box.width, bottom = box.y + box.height;
    cairo_new_sub_path(context);
    cairo_arc(context, right - radius, box.y + radius, radius, -quarter, 0);
    cairo_arc(context, right - radius, bottom - radius, radius, 0, quarter);
    cairo_arc(context, box.x + radius, bottom - radius, radius, quarter, 2 * quarter);
    cairo_arc(context, box.x + radius, box.y + radius, radius, 2 * quarter, 3 * quarter);
    cairo_close_path(context);
}

void drawBox(cairo_t* context, const DrawCommand& command) {
    if (command.fill.alpha > 0 || command.fill2.alpha > 0) {
        roundedPath(context, command.box, command.radius);
        if (command.fill == command.fill2) {
            setColor(context, command.fill);
            cairo_fill(context);
        } else {
            const PatternHandle pattern(cairo_pattern_create_linear(command.box.x, command.box.y, command.box.x,
                                                                    command.box.y + command.box.height));
            const auto& [top, bottom] = std::tie(command.fill, command.fill2);
            cairo_pattern_add_color_stop_rgba(pattern.get(), 0, top.red, top.green, top.blue, top.alpha);
            cairo_pattern_add_color_stop_rgba(pattern.get(), 1, bottom.red, bottom.green, bottom.blue,
                                              bottom.alpha);
            cairo_set_source(context, pattern.get());
            cairo_fill(context);
        }
    }
    if (command.strokeWidth > 0) {
        const double inset = command.strokeWidth / 2;
        const Rect& box = command.box;
        roundedPath(context, {box.x + inset, box.y + inset, box.width - 2 * inset, box.height - 2 * inset},
                    command.radius - inset);
        setColor(context, command.stroke);
        cairo_set_line_width(context, command.strokeWidth);
        cairo_stroke(context);
    }
}

void drawGlow(cairo_t* context, const DrawCommand& command) {
    const double radius = command.box.width / 2;
    const double x = command.box.x + radius, y = command.box.y + radius;
    const PatternHandle pattern(cairo_pattern_create_radial(x, y, 0, x, y, radius));
    for (const auto& [offset, part] : {std::pair{0.0, 1.0}, {0.25, 0.62}, {0.5, 0.26}, {0.75, 0.07}, {1.0, 0.0}}) {
        const Color& color = command.fill;
        cairo_pattern_add_color_stop_rgba(pattern.get(), offset, color.red, color.green, color.blue,
                                          color.alpha * part);
    }
    cairo_rectangle(context, command.box.x, command.box.y, 2 * radius, 2 * radius);
    cairo_set_source(context, pattern.get());
    cairo_fill(context);
}

/// Reads the little path language of IconPaths.h.
class IconReader {
public:
    explicit IconReader(std::string_view path) : path_(path) {}
    void trace(cairo_t* context) {
        while (!path_.empty()) step(context);
    }

private:
    void skipBlanks() {
        while (!path_.empty() && path_.front() == ' ') path_.remove_prefix(1);
    }
    template <std::size_t count>
    std::array<double, count> numbers() {
        std::array<double, count> values{};
        for (double& value : values) {
            skipBlanks();
            const auto end = std::from_chars(path_.data(), path_.data() + path_.size(), value).ptr;
            path_.remove_prefix(static_cast<std::size_t>(end - path_.data()));
        }
        return values;
    }
    void step(cairo_t* context) {
        const char command = path_.front();
        path_.remove_prefix(1);
        if (command == 'Z') {
            cairo_close_path(context);
        } else if (command == 'M') {
            const auto [x, y] = numbers<2>();
            cairo_move_to(context, x, y);
        } else if (command == 'L') {
            const auto [x, y] = numbers<2>();
            cairo_line_to(context, x, y);
        } else if (command == 'C') {
            const auto [x1, y1, x2, y2, x, y] = numbers<6>();
            cairo_curve_to(context, x1, y1, x2, y2, x, y);
        } else if (command == 'R') {
            const auto [x, y, width, height, radius] = numbers<5>();
            roundedPath(context, {x, y, width, height}, radius);
        } else if (command == 'O' || command == 'D') {
            const auto [x, y, radius] = numbers<3>();
            cairo_new_sub_path(context);
            cairo_arc(context, x, y, radius, 0, 2 * std::numbers::pi);
            cairo_close_path(context);
        }
        skipBlanks();
    }
    std::string_view path_;
};

void drawIcon(cairo_t* context, const DrawCommand& command) {
    cairo_translate(context, command.box.x, command.box.y);
    cairo_scale(context, command.box.width / 24, command.box.height / 24);
    IconReader(iconPath(command.icon)).trace(context);
    setColor(context, command.fill);
    cairo_set_line_width(context, command.strokeWidth * 24 / command.box.width);
    cairo_set_line_cap(context, CAIRO_LINE_CAP_ROUND);
    cairo_set_line_join(context, CAIRO_LINE_JOIN_ROUND);
    cairo_stroke(context);
}

/// How much of a blurred edge from `start` to `end` covers each of `count` pixels beginning at 0.
std::vector<double> blurredEdge(int count, double start, double end, double deviation) {
    std::vector<double> coverage(static_cast<std::size_t>(count));
    const double unit = 1 / (deviation * std::numbers::sqrt2);
    for (int i = 0; i < count; ++i) {
        const double middle = i + 0.5;
        coverage[static_cast<std::size_t>(i)] =
            0.5 * (std::erf((middle - start) * unit) - std::erf((middle - end) * unit));
    }
    return coverage;
}

/// A rectangle blurred by a Gaussian is the product of its two blurred sides; rounded corners vanish in the blur.
SurfaceHandle makeShadow(int width, int height, double margin, double deviation) {
    SurfaceHandle surface(cairo_image_surface_create(CAIRO_FORMAT_A8, width, height));
    if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) throw std::bad_alloc();
    const std::vector<double> across = blurredEdge(width, margin, width - margin, deviation);
    const std::vector<double> down = blurredEdge(height, margin, height - margin, deviation);
    unsigned char* const pixels = cairo_image_surface_get_data(surface.get());
    const std::ptrdiff_t stride = cairo_image_surface_get_stride(surface.get());
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            pixels[y * stride + x] = static_cast<unsigned char>(
                std::lround(255 * across[static_cast<std::size_t>(x)] * down[static_cast<std::size_t>(y)]));
    cairo_surface_mark_dirty(surface.get());
    return surface;
}

cairo_rectangle_int_t devicePixels(Rect area, double scale) {
    const int left = static_cast<int>(std::floor(area.x * scale)),
              top = static_cast<int>(std::floor(area.y * scale));
    return {left, top, static_cast<int>(std::ceil((area.x + area.width) * scale)) - left,
            static_cast<int>(std::ceil((area.y + area.height) * scale)) - top};
}

}  // namespace

ListPainter::ListPainter(double scale) : scale_(scale) {
    fontMap_.reset(pango_cairo_font_map_new_for_font_type(CAIRO_FONT_TYPE_FT));
    if (!fontMap_) fontMap_.reset(pango_cairo_font_map_new());
    textContext_.reset(pango_font_map_create_context(fontMap_.get()));
    // The same shapes at every size and on every machine: no hinting, grey edges.
    const FontOptionsHandle options(cairo_font_options_create());
    cairo_font_options_set_antialias(options.get(), CAIRO_ANTIALIAS_GRAY);
    cairo_font_options_set_hint_style(options.get(), CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options.get(), CAIRO_HINT_METRICS_OFF);
    pango_cairo_context_set_font_options(textContext_.get(), options.get());
    pango_cairo_context_set_resolution(textContext_.get(), 96);
    pango_context_set_round_glyph_positions(textContext_.get(), FALSE);
}

void ListPainter::paint(cairo_surface_t* target, const DisplayList& list, const cairo_region_t* region,
                        cairo_surface_t* wallpaper) {
    const ContextHandle context(cairo_create(target));
    for (int i = 0; i < cairo_region_num_rectangles(region); ++i) {
        cairo_rectangle_int_t area;
        cairo_region_get_rectangle(region, i, &area);
        cairo_rectangle(context.get(), area.x, area.y, area.width, area.height);
    }
    cairo_clip(context.get());
    for (const DrawCommand& command : list.commands()) {
        const cairo_rectangle_int_t area = devicePixels(command.bounds(), scale_);
        if (cairo_region_contains_rectangle(region, &area) == CAIRO_REGION_OVERLAP_OUT) continue;
        cairo_save(context.get());
        draw(context.get(), command, wallpaper);
        cairo_restore(context.get());
    }
    cairo_surface_flush(target);
}

void ListPainter::draw(cairo_t* context, const DrawCommand& command, cairo_surface_t* wallpaper) {
    if (command.kind == DrawCommand::Kind::wallpaper) {
        cairo_set_source_surface(context, wallpaper, 0, 0);
        cairo_set_operator(context, CAIRO_OPERATOR_SOURCE);
        cairo_paint(context);
        return;
    }
    cairo_scale(context, scale_, scale_);
    if (command.clip.width < 1e5) {
        cairo_rectangle(context, command.clip.x, command.clip.y, command.clip.width, command.clip.height);
        cairo_clip(context);
    }
    switch (command.kind) {
        case DrawCommand::Kind::wallpaper:
            break;
        case DrawCommand::Kind::box:
            drawBox(context, command);
            break;
        case DrawCommand::Kind::shadow:
            drawShadow(context, command);
            break;
        case DrawCommand::Kind::glow:
            drawGlow(context, command);
            break;
        case DrawCommand::Kind::text:
            drawText(context, command);
            break;
        case DrawCommand::Kind::icon:
            drawIcon(context, command);
            break;
    }
}

void ListPainter::drawShadow(cairo_t* context, const DrawCommand& command) {
    const double margin = std::ceil(3 * command.blur * scale_);
    const int width = static_cast<int>(std::lround(command.box.width * scale_ + 2 * margin));
    const int height = static_cast<int>(std::lround(command.box.height * scale_ + 2 * margin));
    const auto key = static_cast<std::uint64_t>(width) << 40U | static_cast<std::uint64_t>(height) << 16U |
                     static_cast<std::uint64_t>(std::lround(command.blur * 16));
    if (shadows_.size() > mostShadows) shadows_.clear();
    SurfaceHandle& surface = shadows_[key];
    if (!surface) surface = makeShadow(width, height, margin, command.blur * scale_);
    cairo_identity_matrix(context);
    setColor(context, command.fill);
    cairo_mask_surface(context, surface.get(), std::round(command.box.x * scale_ - margin),
                       std::round(command.box.y * scale_ - margin));
}

PangoLayout* ListPainter::layoutFor(const DrawCommand& command) {
    const TextStyle& style = command.textStyle;
    std::string key = command.text;
    for (const double part :
         {style.size, static_cast<double>(style.weight), style.mono ? 1.0 : 0.0, command.box.width})
        key += '\n' + std::to_string(part);
    if (layouts_.size() > mostLayouts) layouts_.clear();
    ObjectHandle<PangoLayout>& layout = layouts_[key];
    if (layout) return layout.get();

    layout.reset(pango_layout_new(textContext_.get()));
    const FontHandle font(pango_font_description_new());
    pango_font_description_set_family(font.get(), style.mono         ? "DejaVu Sans Mono"
                                                  : style.size >= 20 ? "Inter Display, Inter, DejaVu Sans"
                                                                     : "Inter, DejaVu Sans");
    pango_font_description_set_weight(font.get(), static_cast<PangoWeight>(style.weight));
    pango_font_description_set_absolute_size(font.get(), style.size * PANGO_SCALE);
    pango_layout_set_font_description(layout.get(), font.get());
    pango_layout_set_single_paragraph_mode(layout.get(), TRUE);
    if (!style.mono) {  // figures of one width, so that numbers that count do not jitter
        const AttributesHandle attributes(pango_attr_list_new());
        pango_attr_list_insert(attributes.get(), pango_attr_font_features_new("tnum=1, calt=1"));
        pango_layout_set_attributes(layout.get(), attributes.get());
    }
    if (command.box.width > 0) {
        pango_layout_set_width(layout.get(), static_cast<int>(command.box.width * PANGO_SCALE));
        pango_layout_set_ellipsize(layout.get(), PANGO_ELLIPSIZE_END);
    }
    pango_layout_set_text(layout.get(), command.text.data(), static_cast<int>(command.text.size()));
    return layout.get();
}

void ListPainter::drawText(cairo_t* context, const DrawCommand& command) {
    PangoLayout* const layout = layoutFor(command);
    PangoRectangle logical;
    pango_layout_get_extents(layout, nullptr, &logical);
    const double width = static_cast<double>(logical.width) / PANGO_SCALE;
    const double left = static_cast<double>(logical.x) / PANGO_SCALE;
    const double shift = command.align == Align::left ? 0 : command.align == Align::center ? -width / 2 : -width;
    const double ascent = static_cast<double>(pango_layout_get_baseline(layout)) / PANGO_SCALE;
    setColor(context, command.fill);
    cairo_move_to(context, command.box.x + shift - left, command.box.y - ascent);
    // Filled outlines rather than glyph images: Cairo before 1.17.4 puts those at whole pixels, which spoils the
    // spacing.
    pango_cairo_layout_path(context, layout);
    cairo_fill(context);
    if (command.strokeWidth <= 0 || command.stroke.alpha <= 0) return;
    const double size = command.textStyle.size;
    roundedPath(context,
                {command.box.x + shift + width + 1, command.box.y - size, command.strokeWidth, 1.3 * size}, 0.8);
    setColor(context, command.stroke);
    cairo_fill(context);
}

}  // namespace lumenwhirl::demo
