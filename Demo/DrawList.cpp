#include "Demo/DrawList.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <functional>
#include <new>
#include <numbers>
#include <utility>

namespace lumenwhirl::demo {
namespace {

using Kind = DrawCommand::Kind;
using FontOptions = std::unique_ptr<cairo_font_options_t, ReleasedBy<&cairo_font_options_destroy>>;
using FontDescription = std::unique_ptr<PangoFontDescription, ReleasedBy<&pango_font_description_free>>;
using TextAttributes = std::unique_ptr<PangoAttrList, ReleasedBy<&pango_attr_list_unref>>;

// A few hundred texts are on the screen at once; only those that are typed or counted come and go.
constexpr std::size_t mostLayouts = 2000;
constexpr std::size_t mostShadows = 64;

Rect grown(Rect rect, double by) {
    return {rect.x - by, rect.y - by, rect.width + 2 * by, rect.height + 2 * by};
}

Rect intersection(Rect a, Rect b) {
    const double left = std::max(a.x, b.x), top = std::max(a.y, b.y);
    const double right = std::min(a.x + a.width, b.x + b.width), bottom = std::min(a.y + a.height, b.y + b.height);
    return {left, top, std::max(right - left, 0.0), std::max(bottom - top, 0.0)};
}

/// How far text reaches left of its position.
double shiftOf(Align align, double width) {
    return align == Align::left ? 0 : align == Align::center ? width / 2 : width;
}

void setColor(cairo_t* context, const Color& color) {
    cairo_set_source_rgba(context, color.red, color.green, color.blue, color.alpha);
}

void addStop(const CairoPattern& pattern, double offset, const Color& color) {
    cairo_pattern_add_color_stop_rgba(pattern.get(), offset, color.red, color.green, color.blue, color.alpha);
}

void tracePath(cairo_t* context, Rect box, double radius) {
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

/// Icons.h describes the language.
void tracePath(cairo_t* context, std::string_view path) {
    const char *at = path.data(), *const end = path.data() + path.size();
    while (at != end) {
        const char command = *at++;
        std::array<double, 6> n{};
        for (double& number : n) {
            while (at != end && *at == ' ') ++at;
            const auto [next, failure] = std::from_chars(at, end, number);
            if (failure != std::errc{}) break;
            at = next;
        }
        if (command == 'M') cairo_move_to(context, n[0], n[1]);
        if (command == 'L') cairo_line_to(context, n[0], n[1]);
        if (command == 'C') cairo_curve_to(context, n[0], n[1], n[2], n[3], n[4], n[5]);
        if (command == 'R') tracePath(context, {n[0], n[1], n[2], n[3]}, n[4]);
        if (command == 'O') {
            cairo_new_sub_path(context);
            cairo_arc(context, n[0], n[1], n[2], 0, 2 * std::numbers::pi);
        }
        if (command == 'O' || command == 'Z') cairo_close_path(context);
    }
}

void drawBox(cairo_t* context, const DrawCommand& command) {
    const Rect& box = command.box;
    if (command.fill.alpha > 0 || command.fill2.alpha > 0) {
        tracePath(context, box, command.radius);
        if (command.fill == command.fill2) {
            setColor(context, command.fill);
        } else {
            const CairoPattern pattern(cairo_pattern_create_linear(box.x, box.y, box.x, box.y + box.height));
            addStop(pattern, 0, command.fill);
            addStop(pattern, 1, command.fill2);
            cairo_set_source(context, pattern.get());
        }
        cairo_fill(context);
    }
    if (command.strokeWidth > 0) {
        const double inset = command.strokeWidth / 2;
        tracePath(context, grown(box, -inset), command.radius - inset);
        setColor(context, command.stroke);
        cairo_set_line_width(context, command.strokeWidth);
        cairo_stroke(context);
    }
}

void drawGlow(cairo_t* context, const DrawCommand& command) {
    const Rect& box = command.box;
    const double radius = box.width / 2, x = box.x + radius, y = box.y + radius;
    const CairoPattern pattern(cairo_pattern_create_radial(x, y, 0, x, y, radius));
    for (const auto& [offset, part] : {std::pair{0.0, 1.0}, {0.25, 0.62}, {0.5, 0.26}, {0.75, 0.07}, {1.0, 0.0}})
        addStop(pattern, offset, withAlpha(command.fill, command.fill.alpha * part));
    cairo_rectangle(context, box.x, box.y, 2 * radius, 2 * radius);
    cairo_set_source(context, pattern.get());
    cairo_fill(context);
}

void drawIcon(cairo_t* context, const DrawCommand& command) {
    const double scale = command.box.width / 24;
    cairo_translate(context, command.box.x, command.box.y);
    cairo_scale(context, scale, scale);
    tracePath(context, command.text);
    setColor(context, command.fill);
    cairo_set_line_width(context, command.strokeWidth * 24 / command.box.width);
    cairo_set_line_cap(context, CAIRO_LINE_CAP_ROUND);
    cairo_set_line_join(context, CAIRO_LINE_JOIN_ROUND);
    cairo_stroke(context);
}

/// How much of each of `count` pixels lies between two blurred edges, `margin` from either end.
std::vector<double> blurredEdges(int count, double margin, double deviation) {
    std::vector<double> coverage(static_cast<std::size_t>(count));
    const double unit = 1 / (deviation * std::numbers::sqrt2);
    double middle = 0.5;
    for (double& share : coverage) {
        share = 0.5 * (std::erf((middle - margin) * unit) - std::erf((middle - (count - margin)) * unit));
        ++middle;
    }
    return coverage;
}

/// A rectangle blurred by a Gaussian is the product of its two blurred sides; rounded corners vanish in the blur.
CairoSurface makeShadow(int width, int height, double margin, double deviation) {
    CairoSurface surface = makeSurface(width, height, CAIRO_FORMAT_A8);
    const std::vector<double> across = blurredEdges(width, margin, deviation);
    unsigned char* row = cairo_image_surface_get_data(surface.get());
    for (const double share : blurredEdges(height, margin, deviation)) {
        for (std::size_t x = 0; x < across.size(); ++x)
            row[x] = static_cast<unsigned char>(std::lround(255 * across[x] * share));
        row += cairo_image_surface_get_stride(surface.get());
    }
    cairo_surface_mark_dirty(surface.get());
    return surface;
}

}  // namespace

CairoSurface makeSurface(int width, int height, cairo_format_t format) {
    CairoSurface surface(cairo_image_surface_create(format, width, height));
    if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) throw std::bad_alloc();
    return surface;
}

std::uint64_t DrawCommand::fingerprint() const {
    std::uint64_t hash = std::hash<std::string>{}(text);
    const auto add = [&hash](std::initializer_list<double> numbers) {
        for (const double number : numbers) {
            hash = (hash ^ std::bit_cast<std::uint64_t>(number)) * 0x100000001b3U;
            hash ^= hash >> 29U;  // so that a number's high bits reach all others
        }
    };
    for (const Rect& rect : {box, clip}) add({rect.x, rect.y, rect.width, rect.height});
    for (const Color& color : {fill, fill2, stroke}) add({color.red, color.green, color.blue, color.alpha});
    add({radius, strokeWidth, blur, font.size, double(font.weight), double(font.mono)});
    add({double(kind), double(align), double(layer)});
    return hash;
}

Rect DrawCommand::bounds() const {
    Rect area = grown(box, kind == Kind::shadow ? 3 * blur : 1);
    if (kind == Kind::text) {
        // No glyph of the fonts in use is wider than 1.2 em on average; descenders and accents stay within an em.
        const double width = box.width > 0 ? box.width : 1.2 * font.size * static_cast<double>(text.size());
        area = grown({box.x - shiftOf(align, width), box.y - 1.1 * font.size, width, 1.5 * font.size}, 1);
    }
    return intersection(area, clip);
}

cairo_rectangle_int_t DrawCommand::pixels(double scale) const {
    const Rect area = bounds();
    const int left = static_cast<int>(std::floor(area.x * scale)),
              top = static_cast<int>(std::floor(area.y * scale));
    return {left, top, static_cast<int>(std::ceil((area.x + area.width) * scale)) - left,
            static_cast<int>(std::ceil((area.y + area.height) * scale)) - top};
}

void DrawList::add(DrawCommand command) {
    command.box.x += state_.dx;
    command.box.y += state_.dy;
    for (Color* const color : {&command.fill, &command.fill2, &command.stroke}) color->alpha *= state_.opacity;
    command.clip = state_.clip;
    command.layer = state_.layer;
    const Rect area = command.bounds();
    if (area.width > 0 && area.height > 0) commands_.push_back(std::move(command));
}

DrawList::Scope DrawList::moved(double dx, double dy, double opacity) {
    State inside = state_;
    inside.dx += dx;
    inside.dy += dy;
    inside.opacity *= opacity;
    return {*this, inside};
}

DrawList::Scope DrawList::clipped(Rect area) {
    State inside = state_;
    inside.clip = intersection(state_.clip, {area.x + state_.dx, area.y + state_.dy, area.width, area.height});
    return {*this, inside};
}

void DrawList::wallpaper(Rect box) {
    add({.kind = Kind::wallpaper, .box = box});
}

void DrawList::gradient(Rect box, double radius, Color top, Color bottom) {
    add({.box = box, .fill = top, .fill2 = bottom, .radius = radius});
}

void DrawList::border(Rect box, double radius, Color color, double width) {
    constexpr Color nothing{0, 0, 0, 0};
    add({.box = box, .fill = nothing, .fill2 = nothing, .stroke = color, .radius = radius, .strokeWidth = width});
}

void DrawList::shadow(Rect box, double blur, double dy, Color color) {
    add({.kind = Kind::shadow, .box = {box.x, box.y + dy, box.width, box.height}, .fill = color, .blur = blur});
}

void DrawList::glow(Point center, double radius, Color color) {
    add({.kind = Kind::glow, .box = grown({center.x, center.y, 0, 0}, radius), .fill = color});
}

void DrawList::icon(std::string_view path, Point topLeft, double size, Color color, double strokeWidth) {
    add({.kind = Kind::icon,
         .box = {topLeft.x, topLeft.y, size, size},
         .fill = color,
         .strokeWidth = strokeWidth,
         .text = std::string(path)});
}

void DrawList::text(Point at, std::string_view text, Font font, Color color, Align align, double width) {
    if (text.empty()) return;
    add({.kind = Kind::text,
         .box = {at.x, at.y, width, 0},
         .fill = color,
         .text = std::string(text),
         .font = font,
         .align = align});
}

void DrawList::typedText(Point at, std::string_view text, Font font, Color color, Color caret) {
    add({.kind = Kind::text,
         .box = {at.x, at.y, 0, 0},
         .fill = color,
         .stroke = caret,
         .strokeWidth = 1.6,
         .text = std::string(text),
         .font = font});
}

ListPainter::ListPainter(double scale) : scale_(scale) {
    fontMap_.reset(pango_cairo_font_map_new_for_font_type(CAIRO_FONT_TYPE_FT));
    if (!fontMap_) fontMap_.reset(pango_cairo_font_map_new());
    textContext_.reset(pango_font_map_create_context(fontMap_.get()));
    // The same shapes at every size and on every machine: no hinting, grey edges.
    const FontOptions options(cairo_font_options_create());
    cairo_font_options_set_antialias(options.get(), CAIRO_ANTIALIAS_GRAY);
    cairo_font_options_set_hint_style(options.get(), CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options.get(), CAIRO_HINT_METRICS_OFF);
    pango_cairo_context_set_font_options(textContext_.get(), options.get());
    pango_cairo_context_set_resolution(textContext_.get(), 96);
    pango_context_set_round_glyph_positions(textContext_.get(), FALSE);
}

void ListPainter::paint(cairo_surface_t* target, const DrawList& list, const cairo_region_t* region,
                        cairo_surface_t* wallpaper) {
    const CairoContext context(cairo_create(target));
    for (int i = 0; i < cairo_region_num_rectangles(region); ++i) {
        cairo_rectangle_int_t area;
        cairo_region_get_rectangle(region, i, &area);
        cairo_rectangle(context.get(), area.x, area.y, area.width, area.height);
    }
    cairo_clip(context.get());
    for (const DrawCommand& command : list.commands()) {
        const cairo_rectangle_int_t area = command.pixels(scale_);
        if (cairo_region_contains_rectangle(region, &area) == CAIRO_REGION_OVERLAP_OUT) continue;
        cairo_save(context.get());
        draw(context.get(), command, wallpaper);
        cairo_restore(context.get());
    }
    cairo_surface_flush(target);
}

void ListPainter::draw(cairo_t* context, const DrawCommand& command, cairo_surface_t* wallpaper) {
    if (command.kind == Kind::wallpaper) {
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
    if (command.kind == Kind::box) drawBox(context, command);
    if (command.kind == Kind::shadow) drawShadow(context, command);
    if (command.kind == Kind::glow) drawGlow(context, command);
    if (command.kind == Kind::text) drawText(context, command);
    if (command.kind == Kind::icon) drawIcon(context, command);
}

void ListPainter::drawShadow(cairo_t* context, const DrawCommand& command) {
    const double deviation = command.blur * scale_, margin = std::ceil(3 * command.blur * scale_);
    const int width = static_cast<int>(std::lround(command.box.width * scale_ + 2 * margin));
    const int height = static_cast<int>(std::lround(command.box.height * scale_ + 2 * margin));
    if (shadows_.size() > mostShadows) shadows_.clear();
    CairoSurface& surface = shadows_[{width, height, deviation}];
    if (!surface) surface = makeShadow(width, height, margin, deviation);
    cairo_identity_matrix(context);
    setColor(context, command.fill);
    cairo_mask_surface(context, surface.get(), std::round(command.box.x * scale_ - margin),
                       std::round(command.box.y * scale_ - margin));
}

PangoLayout* ListPainter::layoutFor(const DrawCommand& command) {
    const auto& [size, weight, mono] = command.font;
    const double width = command.box.width;
    if (layouts_.size() > mostLayouts) layouts_.clear();
    GObjectHandle<PangoLayout>& layout = layouts_[{command.text, size, weight, mono, width}];
    if (layout) return layout.get();

    layout.reset(pango_layout_new(textContext_.get()));
    const FontDescription font(pango_font_description_new());
    pango_font_description_set_family(font.get(), mono         ? "DejaVu Sans Mono"
                                                  : size >= 20 ? "Inter Display, Inter, DejaVu Sans"
                                                               : "Inter, DejaVu Sans");
    pango_font_description_set_weight(font.get(), static_cast<PangoWeight>(weight));
    pango_font_description_set_absolute_size(font.get(), size * PANGO_SCALE);
    pango_layout_set_font_description(layout.get(), font.get());
    pango_layout_set_single_paragraph_mode(layout.get(), TRUE);
    if (!mono) {  // figures of one width, so that numbers that count do not jitter
        const TextAttributes attributes(pango_attr_list_new());
        pango_attr_list_insert(attributes.get(), pango_attr_font_features_new("tnum=1, calt=1"));
        pango_layout_set_attributes(layout.get(), attributes.get());
    }
    if (width > 0) {
        pango_layout_set_width(layout.get(), static_cast<int>(width * PANGO_SCALE));
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
    const double ascent = static_cast<double>(pango_layout_get_baseline(layout)) / PANGO_SCALE;
    const double x = command.box.x - shiftOf(command.align, width), baseline = command.box.y;
    setColor(context, command.fill);
    cairo_move_to(context, x - left, baseline - ascent);
    // Filled outlines rather than glyph images: Cairo before 1.17.4 puts those at whole pixels, which spoils the
    // spacing.
    pango_cairo_layout_path(context, layout);
    cairo_fill(context);
    if (command.strokeWidth <= 0 || command.stroke.alpha <= 0) return;
    const double size = command.font.size;
    tracePath(context, {x + width + 1, baseline - size, command.strokeWidth, 1.3 * size}, 0.8);
    setColor(context, command.stroke);
    cairo_fill(context);
}

}  // namespace lumenwhirl::demo
