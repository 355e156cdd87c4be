#pragma once

#include "Engine/Geometry/Point.h"
#include "Engine/Geometry/Rect.h"
#include "Pixels/Image.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace lumenwhirl::demo {

enum class Align { left, center, right };

struct TextStyle {
    double size = 13;  // logical pixels
    int weight = 400;  // 400 regular, 500 medium, 600 semi-bold, 700 bold
    Color color;
    bool mono = false;
    bool operator==(const TextStyle&) const = default;
};

/// Line drawings on a grid of 24 by 24; see IconPaths.h.
enum class Icon {
    board,
    document,
    folder,
    terminal,
    note,
    gear,
    plus,
    search,
    wifi,
    volume,
    battery,
    chevronDown,
    chevronRight,
    check,
    close,
    minimize,
    maximize,
    globe,
    mail,
    download,
    link,
    users,
    moon,
    sun,
    calendar,
    comment,
    filter,
    inbox,
    lantern,
    clock,
    share,
    command
};

/// One thing to draw. Lengths are logical pixels.
struct DrawCommand {
    enum class Kind : std::uint8_t { wallpaper, box, shadow, glow, text, icon };
    Kind kind = Kind::box;
    Rect box;
    Rect clip;
    Color fill, fill2;  // box: from its top to its bottom; glow: the centre's colour; text, icon: `fill`
    Color stroke;       // box: an inner border of `strokeWidth`; text: the text cursor
    double radius = 0;
    double strokeWidth = 0;
    double blur = 0;  // shadow: standard deviation
    Icon icon = Icon::board;
    Align align = Align::left;
    TextStyle textStyle;
    std::string text;         // text: the baseline is the box's bottom, at most the box wide if that is positive
    std::uint32_t layer = 0;  // of the window stack; so a restacked window counts as changed

    /// Equal numbers mean equal looks.
    [[nodiscard]] std::uint64_t fingerprint() const;
    /// What it may touch; generous for text.
    [[nodiscard]] Rect bounds() const;
};

/// A picture as a list of things to draw, back to front. Two lists can be compared to find what changed.
class DisplayList {
public:
    void wallpaper(Rect box);
    void box(Rect box, double radius, Color fill) { gradient(box, radius, fill, fill); }
    void gradient(Rect box, double radius, Color top, Color bottom);
    void border(Rect box, double radius, Color color, double width = 1);
    void shadow(Rect box, double blur, double dy, Color color);
    void glow(Point center, double radius, Color color);
    void icon(Icon icon, Rect box, Color color, double strokeWidth = 1.75);
    /// `width` 0: as wide as it is; else what does not fit ends in an ellipsis. `x` is the edge or middle that
    /// `align` names.
    void text(double x, double baseline, std::string_view text, const TextStyle& style, Align align = Align::left,
              double width = 0);

    /// With a text cursor behind its last letter; transparent: none.
    void textWithCaret(double x, double baseline, std::string_view text, const TextStyle& style, Color caret);

    void setLayer(std::uint32_t layer) { layer_ = layer; }
    [[nodiscard]] const std::vector<DrawCommand>& commands() const noexcept { return commands_; }
    void clear();

    /// While alive, everything added is fainter by `opacity` and lower by `dy`.
    class Group {
    public:
        Group(DisplayList& list, double opacity, double dy);
        ~Group();
        Group(const Group&) = delete;
        Group& operator=(const Group&) = delete;

    private:
        DisplayList& list_;
        double opacity_, dy_;
    };
    /// While alive, everything added shows inside `clip` only.
    class Clip {
    public:
        Clip(DisplayList& list, Rect clip);
        ~Clip() { list_.clip_ = previous_; }
        Clip(const Clip&) = delete;
        Clip& operator=(const Clip&) = delete;

    private:
        DisplayList& list_;
        Rect previous_;
    };

private:
    static constexpr Rect everywhere{-1e6, -1e6, 2e6, 2e6};
    void add(DrawCommand command);

    std::vector<DrawCommand> commands_;
    Rect clip_ = everywhere;
    double opacity_ = 1, dy_ = 0;
    std::uint32_t layer_ = 0;
};

[[nodiscard]] Rect intersection(Rect a, Rect b);

}  // namespace lumenwhirl::demo
