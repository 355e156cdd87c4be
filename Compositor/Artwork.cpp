#include "Compositor/Artwork.h"

#include "Compositor/CairoHandles.h"
#include "Compositor/StyleResolver.h"
#include "Engine/Overlays/UpperCase.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace lumenwhirl {
namespace {

/// From the tip, in units of the arrow's height / 0.86; x right, y down.
constexpr std::array<std::array<double, 2>, 7> arrowOutline{
    {{0.00, 0.00}, {0.00, 0.74}, {0.20, 0.57}, {0.31, 0.86}, {0.42, 0.82}, {0.31, 0.53}, {0.55, 0.53}}};

/// Families in the order of our liking; those that are not installed are passed over. Inter has every key symbol
/// that pills use, so it follows the designs that lack some.
const char* familyFor(std::string_view design) {
    if (design == "rounded") return "Quicksand, Inter, DejaVu Sans";
    if (design == "serif")
        return "Source Serif 4, Source Serif Pro, Noto Serif, P052, Liberation Serif, DejaVu Serif, Inter, DejaVu Sans";
    if (design == "mono")
        return "JetBrains Mono, Source Code Pro, Noto Sans Mono, Liberation Mono, DejaVu Sans Mono, Inter, DejaVu Sans";
    return "Inter, DejaVu Sans";
}

PangoWeight weightFor(std::string_view name) {
    if (name == "regular") return PANGO_WEIGHT_NORMAL;
    if (name == "medium") return PANGO_WEIGHT_MEDIUM;
    if (name == "semibold") return PANGO_WEIGHT_SEMIBOLD;
    if (name == "heavy") return PANGO_WEIGHT_HEAVY;
    return PANGO_WEIGHT_BOLD;
}

FontDescription captionFont(double size, std::string_view design, std::string_view weight) {
    FontDescription font(pango_font_description_new());
    pango_font_description_set_family(font.get(), familyFor(design));
    pango_font_description_set_weight(font.get(), weightFor(weight));
    // Text above a few thousand pixels cannot be seen whole on any canvas; Pango's integers end soon after.
    pango_font_description_set_absolute_size(font.get(), std::clamp(size, 1.0, 10000.0) * PANGO_SCALE);
    return font;
}

}  // namespace

/// Text set by Pango in a font map of its own, without hinting, so that it looks the same on every machine and at
/// every scale.
struct Artwork::Text {
    GObjectHandle<PangoFontMap> fonts{pango_cairo_font_map_new_for_font_type(CAIRO_FONT_TYPE_FT)};
    GObjectHandle<PangoContext> context;
    std::map<std::pair<std::string, double>, double> pillWidths;

    Text() {
        pango_cairo_font_map_set_resolution(PANGO_CAIRO_FONT_MAP(fonts.get()), 96);
        context.reset(pango_font_map_create_context(fonts.get()));
        const std::unique_ptr<cairo_font_options_t, ReleasedBy<&cairo_font_options_destroy>> options(
            cairo_font_options_create());
        cairo_font_options_set_antialias(options.get(), CAIRO_ANTIALIAS_GRAY);
        cairo_font_options_set_hint_style(options.get(), CAIRO_HINT_STYLE_NONE);
        cairo_font_options_set_hint_metrics(options.get(), CAIRO_HINT_METRICS_OFF);
        pango_cairo_context_set_font_options(context.get(), options.get());
        pango_context_set_round_glyph_positions(context.get(), FALSE);
        pango_context_set_base_dir(context.get(), PANGO_DIRECTION_LTR);  // of text that does not choose by itself
    }

    [[nodiscard]] GObjectHandle<PangoLayout> layout(const std::string& text,
                                                    const PangoFontDescription* font) const {
        GObjectHandle<PangoLayout> result(pango_layout_new(context.get()));
        pango_layout_set_font_description(result.get(), font);
        pango_layout_set_text(result.get(), text.data(), static_cast<int>(text.size()));
        return result;
    }

    [[nodiscard]] GObjectHandle<PangoLayout> captionLayout(const std::string& text, double frameWidth,
                                                           double fontSize, const CaptionStyle& style) const {
        auto result = layout(style.uppercase ? upperCased(text) : text,
                             captionFont(fontSize, style.font, style.weight).get());
        pango_layout_set_width(result.get(), static_cast<int>(frameWidth * 0.66 * PANGO_SCALE));
        pango_layout_set_alignment(result.get(), PANGO_ALIGN_CENTER);
        balance(*result);
        pango_layout_set_wrap(result.get(), PANGO_WRAP_WORD_CHAR);
        return result;
    }

    /// One line of text in which the symbols of keys stand as high as capitals: fonts place "⌃" high and "␣" low.
    /// It runs from left to right, also before a Hebrew letter.
    [[nodiscard]] GObjectHandle<PangoLayout> pillLayout(const std::string& text,
                                                        const PangoFontDescription* font) const {
        const auto middleOf = [&](const std::string& glyph) {  // of its ink, above the baseline
            const auto alone = layout(glyph, font);
            PangoRectangle ink;
            pango_layout_get_extents(alone.get(), &ink, nullptr);
            return pango_layout_get_baseline(alone.get()) - ink.y - ink.height / 2;
        };
        const int middle = middleOf("H");
        auto result = layout(text, font);
        const std::unique_ptr<PangoAttrList, ReleasedBy<&pango_attr_list_unref>> rises(pango_attr_list_new());
        for (const char* c = text.c_str(); *c != '\0'; c = g_utf8_next_char(c)) {
            constexpr gunichar firstArrow = 0x2190, lastTechnicalSymbol = 0x243F;
            const gunichar code = g_utf8_get_char(c);
            if (code < firstArrow || code > lastTechnicalSymbol) continue;
            const char* const end = g_utf8_next_char(c);
            PangoAttribute* const rise = pango_attr_rise_new(middle - middleOf(std::string(c, end)));
            rise->start_index = static_cast<guint>(c - text.c_str());
            rise->end_index = static_cast<guint>(end - text.c_str());
            pango_attr_list_insert(rises.get(), rise);
        }
        pango_layout_set_attributes(result.get(), rises.get());
        pango_layout_set_auto_dir(result.get(), FALSE);
        return result;
    }

private:
    /// Makes two lines about equally long: as narrow as the text can be without a third line or a divided word.
    static void balance(PangoLayout& layout) {
        pango_layout_set_wrap(&layout, PANGO_WRAP_WORD);
        int widest = pango_layout_get_width(&layout), narrowest = 0;
        const auto fits = [&](int width) {
            pango_layout_set_width(&layout, width);
            PangoRectangle logical;
            pango_layout_get_extents(&layout, nullptr, &logical);
            return pango_layout_get_line_count(&layout) <= 2 && logical.width <= width;
        };
        if (pango_layout_get_line_count(&layout) != 2 || !fits(widest)) return;
        while (widest - narrowest > PANGO_SCALE) {
            const int width = narrowest + (widest - narrowest) / 2;
            (fits(width) ? widest : narrowest) = width;
        }
        pango_layout_set_width(&layout, widest);
    }
};

namespace {

/// Fills the text's outlines: before version 1.18 Cairo puts glyph pictures on whole pixels, which makes the
/// spacing of letters uneven. Emoji are pictures in colour, which outlines cannot give.
void showText(cairo_t* cr, PangoLayout* layout) {
    bool hasPictures = false;
    for (const char* c = pango_layout_get_text(layout); *c != '\0'; c = g_utf8_next_char(c)) {
        constexpr gunichar pictureSelector = 0xFE0F, firstEmoji = 0x1F000, lastEmoji = 0x1FBFF;
        const gunichar code = g_utf8_get_char(c);
        hasPictures = hasPictures || code == pictureSelector || (code >= firstEmoji && code <= lastEmoji);
    }
    if (hasPictures) {
        pango_cairo_show_layout(cr, layout);
    } else {
        pango_cairo_layout_path(cr, layout);
        cairo_fill(cr);
    }
}

struct TextBox {
    double x = 0, width = 0, height = 0;  // x: the text's left edge in its layout
};

TextBox boxOf(PangoLayout* layout) {
    PangoRectangle logical;
    pango_layout_get_extents(layout, nullptr, &logical);
    const auto pixels = [](int units) { return static_cast<double>(units) / PANGO_SCALE; };
    return {pixels(logical.x), pixels(logical.width), pixels(logical.height)};
}

double captionFontSize(double shortSide, const CaptionStyle& style) {
    return shortSide * 0.034 * style.size;
}

struct PlateSize {
    double width = 0, height = 0, sidePadding = 0, topPadding = 0;
};

PlateSize plateFor(const TextBox& text, double fontSize) {
    const double side = fontSize * 0.9, top = fontSize * 0.55;
    return {std::trunc(text.width + 2 * side), std::trunc(text.height + 2 * top), side, top};
}

/// Draws in frame pixels, the plate's top-left corner at the origin.
Drawing drawingFor(const Artwork::Placement& placement) {
    Drawing drawing(CAIRO_FORMAT_ARGB32, placement.width, placement.height);
    cairo_translate(drawing.context(), placement.x, placement.y);
    cairo_scale(drawing.context(), placement.detail, placement.detail);
    return drawing;
}

}  // namespace

Artwork::Artwork() = default;
Artwork::~Artwork() = default;
Artwork::Artwork(Artwork&&) noexcept = default;
Artwork& Artwork::operator=(Artwork&&) noexcept = default;

const Artwork::Arrow& Artwork::arrow(double height, int detail) {
    const int key = static_cast<int>(std::clamp(height, 0.0, 8192.0));
    if (arrow_.image.width > 0 && arrow_.key == key && arrow_.detail == detail) return arrow_;
    const double h = std::max(key, 8), unit = h / 0.86;
    const double outline = std::max(h * 0.06, 1.5);
    const double margin = std::trunc(outline + 2);
    const int width = static_cast<int>(0.55 * unit + 2 * margin), imageHeight = static_cast<int>(h + 2 * margin);

    const Drawing drawing(CAIRO_FORMAT_ARGB32, width * detail, imageHeight * detail);
    cairo_t* cr = drawing.context();
    cairo_scale(cr, detail, detail);
    for (const auto& [x, y] : arrowOutline) cairo_line_to(cr, margin + unit * x, margin + unit * y);
    cairo_close_path(cr);
    cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
    cairo_set_line_width(cr, outline);
    drawing.setColor({1, 1, 1, 1});
    cairo_stroke_preserve(cr);
    drawing.setColor({0.05, 0.05, 0.05, 1});
    cairo_fill(cr);
    arrow_ = {key, detail, drawing.image(), margin};
    return arrow_;
}

Image Artwork::ring(int halvings) {
    const int side = static_cast<int>(ringImageSize) >> halvings;
    const Drawing drawing(CAIRO_FORMAT_ARGB32, side, side);
    cairo_scale(drawing.context(), side / ringImageSize, side / ringImageSize);
    drawing.setColor({1, 1, 1, 1});
    cairo_set_line_width(drawing.context(), 10);
    cairo_arc(drawing.context(), ringImageSize / 2, ringImageSize / 2, ringBaseRadius, 0, 2 * std::numbers::pi);
    cairo_stroke(drawing.context());
    return drawing.image();
}

double Artwork::pillWidth(const std::string& text, double height) {
    if (!text_) text_ = std::make_unique<Text>();
    const auto [entry, isNew] = text_->pillWidths.try_emplace({text, height});
    if (isNew) {
        const FontDescription font = captionFont(height * 0.5, "system", "bold");
        entry->second = std::max(height * 0.55 + boxOf(text_->pillLayout(text, font.get()).get()).width, height);
    }
    return entry->second;
}

Image Artwork::pill(const std::string& text, double height, const Placement& placement) {
    if (!text_) text_ = std::make_unique<Text>();
    const FontDescription font = captionFont(height * 0.5, "system", "bold");
    const auto layout = text_->pillLayout(text, font.get());
    const double textWidth = boxOf(layout.get()).width, width = pillWidth(text, height);
    const std::unique_ptr<PangoFontMetrics, ReleasedBy<&pango_font_metrics_unref>> metrics(
        pango_context_get_metrics(text_->context.get(), font.get(), nullptr));
    const double ascent = static_cast<double>(pango_font_metrics_get_ascent(metrics.get())) / PANGO_SCALE;
    const double descent = static_cast<double>(pango_font_metrics_get_descent(metrics.get())) / PANGO_SCALE;
    const double baseline = height - descent - (height - (ascent + descent)) * 0.5;  // from the top

    const Drawing drawing = drawingFor(placement);
    drawing.setColor({0.08, 0.08, 0.10, 0.82});
    drawing.roundedRectangle(0, 0, width, height, height * 0.5);
    cairo_fill(drawing.context());
    drawing.setColor({1, 1, 1, 1});
    cairo_move_to(drawing.context(), (width - textWidth) * 0.5,
                  baseline - static_cast<double>(pango_layout_get_baseline(layout.get())) / PANGO_SCALE);
    showText(drawing.context(), layout.get());
    return drawing.image();
}

Size Artwork::captionSize(const std::string& text, double frameWidth, double shortSide,
                          const CaptionStyle& style) {
    if (!text_) text_ = std::make_unique<Text>();
    const double fontSize = captionFontSize(shortSide, style);
    const PlateSize plate =
        plateFor(boxOf(text_->captionLayout(text, frameWidth, fontSize, style).get()), fontSize);
    return {plate.width, plate.height};
}

Image Artwork::caption(const std::string& text, double frameWidth, double shortSide, const CaptionStyle& style,
                       const Placement& placement) {
    if (!text_) text_ = std::make_unique<Text>();
    const double fontSize = captionFontSize(shortSide, style);
    const auto layout = text_->captionLayout(text, frameWidth, fontSize, style);
    const TextBox box = boxOf(layout.get());
    const PlateSize plate = plateFor(box, fontSize);

    const Drawing drawing = drawingFor(placement);
    if (const auto background = StyleResolver::ciColor(style.backgroundColor);
        background && background->alpha > 0.001) {
        drawing.setColor(*background);
        drawing.roundedRectangle(0, 0, plate.width, plate.height, fontSize * 0.5);
        cairo_fill(drawing.context());
    }
    drawing.setColor(StyleResolver::ciColor(style.textColor).value_or(Color{1, 1, 1, 1}));
    cairo_move_to(drawing.context(), plate.sidePadding - box.x, plate.topPadding);
    showText(drawing.context(), layout.get());
    return drawing.image();
}

}  // namespace lumenwhirl
