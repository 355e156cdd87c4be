#include "Demo/DisplayList.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace lumenwhirl::demo {
namespace {

/// FNV-1a over 64-bit words, with a final shift so that the high bits of a word count as well.
class Fingerprint {
public:
    void add(std::uint64_t word) {
        hash_ = (hash_ ^ word) * 0x100000001b3U;
        hash_ ^= hash_ >> 29U;
    }
    void add(double number) { add(std::bit_cast<std::uint64_t>(number)); }
    void add(const Rect& rect) {
        for (const double number : {rect.x, rect.y, rect.width, rect.height}) add(number);
    }
    void add(const Color& color) {
        for (const double number : {color.red, color.green, color.blue, color.alpha}) add(number);
    }
    void add(std::string_view text) {
        for (const char character : text) add(static_cast<std::uint64_t>(static_cast<unsigned char>(character)));
    }
    [[nodiscard]] std::uint64_t value() const { return hash_; }

private:
    std::uint64_t hash_ = 0xcbf29ce484222325U;
};

Color faded(Color color, double opacity) {
    color.alpha *= opacity;
    return color;
}

Rect grown(Rect rect, double by) {
    return {rect.x - by, rect.y - by, rect.width + 2 * by, rect.height + 2 * by};
}

}  // namespace

Rect intersection(Rect a, Rect b) {
    const double left = std::max(a.x, b.x), top = std::max(a.y, b.y);
    const double right = std::min(a.x + a.width, b.x + b.width), bottom = std::min(a.y + a.height, b.y + b.height);
    return {left, top, std::max(right - left, 0.0), std::max(bottom - top, 0.0)};
}

std::uint64_t DrawCommand::fingerprint() const {
    Fingerprint print;
    print.add(static_cast<std::uint64_t>(kind) | static_cast<std::uint64_t>(icon) << 8U |
              static_cast<std::uint64_t>(align) << 24U | static_cast<std::uint64_t>(layer) << 32U);
    print.add(box);
    print.add(clip);
    print.add(fill);
    print.add(fill2);
    print.add(stroke);
    for (const double number : {radius, strokeWidth, blur, textStyle.size}) print.add(number);
    print.add(static_cast<std::uint64_t>(textStyle.weight) << 1U | static_cast<std::uint64_t>(textStyle.mono));
    print.add(text);
    return print.value();
}

Rect DrawCommand::bounds() const {
    Rect area = grown(box, 1);
    if (kind == Kind::shadow) area = grown(box, 3 * blur);
    if (kind == Kind::text) {
        // No glyph of the families used is wider than 1.2 em on average; descenders and accents stay within an em.
        const double width = box.width > 0 ? box.width : 1.2 * textStyle.size * static_cast<double>(text.size());
        const double left = align == Align::left     ? box.x
                            : align == Align::center ? box.x - width / 2
                                                     : box.x - width;
        area = grown({left, box.y - 1.1 * textStyle.size, width, 1.5 * textStyle.size}, 1);
    }
    return intersection(area, clip);
}

void DisplayList::clear() {
    commands_.clear();
    clip_ = everywhere;
    opacity_ = 1;
    dy_ = 0;
    layer_ = 0;
}

void DisplayList::add(DrawCommand command) {
    command.box.y += dy_;
    command.clip = clip_;
    command.fill = faded(command.fill, opacity_);
    command.fill2 = faded(command.fill2, opacity_);
    command.stroke = faded(command.stroke, opacity_);
    command.layer = layer_;
    const Rect area = command.bounds();
    if (area.width > 0 && area.height > 0) commands_.push_back(std::move(command));
}

void DisplayList::wallpaper(Rect box) {
    DrawCommand command;
    command.kind = DrawCommand::Kind::wallpaper;
    command.box = box;
    add(std::move(command));
}

void DisplayList::gradient(Rect box, double radius, Color top, Color bottom) {
    DrawCommand command;
    command.box = box;
    command.radius = radius;
    command.fill = top;
    command.fill2 = bottom;
    add(std::move(command));
}

void DisplayList::border(Rect box, double radius, Color color, double width) {
    DrawCommand command;
    command.box = box;
    command.radius = radius;
    command.fill.alpha = command.fill2.alpha = 0;
    command.stroke = color;
    command.strokeWidth = width;
    add(std::move(command));
}

void DisplayList::shadow(Rect box, double blur, double dy, Color color) {
    DrawCommand command;
    command.kind = DrawCommand::Kind::shadow;
    command.box = {box.x, box.y + dy, box.width, box.height};
    command.blur = blur;
    command.fill = color;
    add(std::move(command));
}

void DisplayList::glow(Point center, double radius, Color color) {
    DrawCommand command;
    command.kind = DrawCommand::Kind::glow;
    command.box = {center.x - radius, center.y - radius, 2 * radius, 2 * radius};
    command.fill = color;
    add(std::move(command));
}

void DisplayList::icon(Icon icon, Rect box, Color color, double strokeWidth) {
    DrawCommand command;
    command.kind = DrawCommand::Kind::icon;
    command.icon = icon;
    command.box = box;
    command.fill = color;
    command.strokeWidth = strokeWidth;
    add(std::move(command));
}

void DisplayList::text(double x, double baseline, std::string_view text, const TextStyle& style, Align align,
                       double width) {
    if (text.empty()) return;
    DrawCommand command;
    command.kind = DrawCommand::Kind::text;
    command.box = {x, baseline, width, 0};
    command.fill = style.color;
    command.textStyle = style;
    command.align = align;
    command.text = text;
    add(std::move(command));
}

void DisplayList::textWithCaret(double x, double baseline, std::string_view text, const TextStyle& style,
                                Color caret) {
    this->text(x, baseline, text, style);
    if (text.empty()) return;
    commands_.back().stroke = faded(caret, opacity_);
    commands_.back().strokeWidth = 1.6;
}

DisplayList::Group::Group(DisplayList& list, double opacity, double dy)
    : list_(list), opacity_(list.opacity_), dy_(list.dy_) {
    list.opacity_ *= opacity;
    list.dy_ += dy;
}

DisplayList::Group::~Group() {
    list_.opacity_ = opacity_;
    list_.dy_ = dy_;
}

DisplayList::Clip::Clip(DisplayList& list, Rect clip) : list_(list), previous_(list.clip_) {
    clip.y += list.dy_;
    list.clip_ = intersection(list.clip_, clip);
}

}  // namespace lumenwhirl::demo
