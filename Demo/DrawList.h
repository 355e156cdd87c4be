#pragma once

#include "Engine/Geometry/Shapes.h"
#include "Files/ReleasedBy.h"
#include "Pixels/Image.h"

#include <cairo.h>
#include <pango/pangocairo.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace lumenwhirl::demo {

using CairoSurface = std::unique_ptr<cairo_surface_t, ReleasedBy<&cairo_surface_destroy>>;
using CairoContext = std::unique_ptr<cairo_t, ReleasedBy<&cairo_destroy>>;
using CairoPattern = std::unique_ptr<cairo_pattern_t, ReleasedBy<&cairo_pattern_destroy>>;
using CairoRegion = std::unique_ptr<cairo_region_t, ReleasedBy<&cairo_region_destroy>>;
template <class T>
using GObjectHandle = std::unique_ptr<T, ReleasedBy<&g_object_unref>>;

[[nodiscard]] constexpr Color rgb(std::uint32_t hex, double alpha = 1) {
    return {(hex >> 16U & 255U) / 255.0, (hex >> 8U & 255U) / 255.0, (hex & 255U) / 255.0, alpha};
}
[[nodiscard]] constexpr Color withAlpha(const Color& color, double alpha) {
    return {color.red, color.green, color.blue, alpha};
}
[[nodiscard]] constexpr Color mixed(const Color& a, const Color& b, double p) {
    return {a.red + (b.red - a.red) * p, a.green + (b.green - a.green) * p, a.blue + (b.blue - a.blue) * p,
            a.alpha + (b.alpha - a.alpha) * p};
}

enum class Align { left, center, right };

struct Font {
    double size = 13;  // logical pixels
    int weight = 400;  // 400 regular, 500 medium, 600 semi-bold, 700 bold
    bool mono = false;
};

/// One thing to draw. Lengths are logical pixels.
struct DrawCommand {
    enum class Kind : std::uint8_t { wallpaper, box, shadow, glow, text, icon };
    Kind kind = Kind::box;
    Rect box{};             // text: x is where `align` says, y the baseline, width the most
                            // it may take unless 0
    Color fill{}, fill2{};  // box: from its top to its bottom; all others: `fill`
    Color stroke{};         // box: an inner border of `strokeWidth`; text: a caret behind
                            // its last letter
    double radius = 0;
    double strokeWidth = 0;
    double blur = 0;     // shadow: standard deviation
    std::string text{};  // icon: its path
    Font font{};
    Align align = Align::left;
    Rect clip{};
    int layer = 0;  // in the window stack, so that a raised window counts as changed

    /// Equal numbers mean equal looks.
    [[nodiscard]] std::uint64_t fingerprint() const;
    /// What it may touch; generous for text.
    [[nodiscard]] Rect bounds() const;
    /// The same in whole device pixels, of which `scale` make a logical pixel.
    [[nodiscard]] cairo_rectangle_int_t pixels(double scale) const;
};

/// A picture as a list of things to draw, back to front. Two lists can be compared to find what changed.
class DrawList {
public:
    void wallpaper(Rect box);
    void box(Rect box, double radius, Color fill) { gradient(box, radius, fill, fill); }
    void gradient(Rect box, double radius, Color top, Color bottom);
    void border(Rect box, double radius, Color color, double width = 1);
    void shadow(Rect box, double blur, double dy, Color color);
    void glow(Point center, double radius, Color color);
    /// One of Icons.h in a square.
    void icon(std::string_view path, Point topLeft, double size, Color color, double strokeWidth);
    /// `at` is the baseline's end or middle that `align` names. Text wider than `width` ends in an ellipsis; 0:
    /// no limit.
    void text(Point at, std::string_view text, Font font, Color color, Align align = Align::left,
              double width = 0);
    /// With a caret behind its last letter.
    void typedText(Point at, std::string_view text, Font font, Color color, Color caret);

    void setLayer(int layer) { state_.layer = layer; }
    [[nodiscard]] const std::vector<DrawCommand>& commands() const noexcept { return commands_; }
    void clear() { commands_.clear(); }

    class Scope;
    /// Until the scope ends, whatever is added lies this much further and is fainter by `opacity`.
    [[nodiscard]] Scope moved(double dx, double dy, double opacity = 1);
    /// Until the scope ends, whatever is added shows inside `area` only.
    [[nodiscard]] Scope clipped(Rect area);

private:
    struct State {
        double dx = 0, dy = 0, opacity = 1;
        Rect clip{-1e6, -1e6, 2e6, 2e6};
        int layer = 0;
    };
    void add(DrawCommand command);

    std::vector<DrawCommand> commands_;
    State state_;
};

class DrawList::Scope {
public:
    Scope(DrawList& list, const State& inside) : list_(list), saved_(std::exchange(list.state_, inside)) {}
    ~Scope() { list_.state_ = saved_; }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

private:
    DrawList& list_;
    State saved_;
};

/// Draws lists with Cairo. Keeps text layouts and blurred shadows, so that drawing the same things again is
/// cheap. Not shared between threads. Throws std::bad_alloc.
class ListPainter {
public:
    /// `scale`: device pixels per logical pixel.
    explicit ListPainter(double scale);
    /// Draws what touches `region` (device pixels), clipped to it. `wallpaper` has the target's size.
    void paint(cairo_surface_t* target, const DrawList& list, const cairo_region_t* region,
               cairo_surface_t* wallpaper);

private:
    void draw(cairo_t* context, const DrawCommand& command, cairo_surface_t* wallpaper);
    void drawShadow(cairo_t* context, const DrawCommand& command);
    void drawText(cairo_t* context, const DrawCommand& command);
    PangoLayout* layoutFor(const DrawCommand& command);

    double scale_;
    GObjectHandle<PangoFontMap> fontMap_;
    GObjectHandle<PangoContext> textContext_;
    std::map<std::tuple<std::string, double, int, bool, double>, GObjectHandle<PangoLayout>> layouts_;
    std::map<std::tuple<int, int, double>, CairoSurface> shadows_;  // by size and deviation in device pixels
};

/// Opaque, 32 bits a pixel. Throws std::bad_alloc.
[[nodiscard]] CairoSurface makeSurface(int width, int height, cairo_format_t format = CAIRO_FORMAT_RGB24);

}  // namespace lumenwhirl::demo
