#include "Demo/DesktopContent.h"
#include "Demo/DesktopView.h"

#include <array>
#include <cmath>

namespace lumenwhirl::demo {
namespace {

bool isHovered(const View& view, Target target) {
    return view.state.hovered == target;
}
bool isPressed(const View& view, Target target) {
    return view.state.pressed == target && isHovered(view, target);
}

}  // namespace

Rect inset(Rect rect, double by) {
    return {rect.x + by, rect.y + by, rect.width - 2 * by, rect.height - 2 * by};
}

TextStyle textStyle(double size, int weight, const Color& color) {
    return {size, weight, color, false};
}

double textWidth(std::string_view text, double size) {
    // Advance widths of Inter Medium in 1/100 em, for a to z; the rest is coarser.
    constexpr std::array<int, 26> lower{57, 62, 58, 62, 59, 37, 62, 60, 25, 25, 56, 25, 89,
                                        60, 61, 62, 62, 39, 54, 36, 60, 57, 82, 56, 57, 56};
    double width = 0;
    for (const char character : text) {
        if (character >= 'a' && character <= 'z')
            width += lower[static_cast<std::size_t>(character - 'a')];
        else if (character >= 'A' && character <= 'Z')
            width += character == 'I' ? 28 : character == 'M' ? 91 : 69;
        else if (character == ' ')
            width += 28;
        else if (character >= '0' && character <= '9')
            width += 64;
        else
            width += 31;
    }
    return width * size / 100;
}

void showWindowFrame(const View& view, Window window, const Color& body) {
    const Rect frame = view.state.layout.window(window);
    const bool isFront = view.state.order.back() == window;
    const double strength = view.theme.shadow * (isFront ? 1 : 0.62);
    view.list.shadow(inset(frame, 10), 30, 26, rgb(0x0A0F2C, strength));
    view.list.shadow(frame, 5, 2, rgb(0x0A0F2C, 0.5 * strength));
    view.list.box(frame, 12, body);
    view.list.border(inset(frame, -1), 13, view.theme.windowEdge);
}

void showWindowButtons(const View& view, double right, double middle, const Color& color) {
    constexpr std::array icons{Icon::minimize, Icon::maximize, Icon::close};
    for (std::size_t i = 0; i < icons.size(); ++i) {
        const Point at{right - 12 - 30 * static_cast<double>(2 - i), middle};
        view.list.box({at.x - 12, at.y - 12, 24, 24}, 12, {color.red, color.green, color.blue, 0.07});
        view.list.icon(icons[i], {at.x - 8, at.y - 8, 16, 16}, {color.red, color.green, color.blue, 0.75}, 1.4);
    }
}

void showPopover(const View& view, Rect box, double radius) {
    view.list.shadow(inset(box, 6), 22, 18, rgb(0x0A0F2C, 0.9 * view.theme.shadow));
    view.list.shadow(box, 4, 2, rgb(0x0A0F2C, 0.5 * view.theme.shadow));
    view.list.box(box, radius, view.theme.popover);
    view.list.border(inset(box, -1), radius + 1, view.theme.windowEdge);
}

void showButton(const View& view, Target target, std::string_view name, ButtonLook look) {
    const Rect box = view.state.layout.rect(target);
    const bool pressed = isPressed(view, target), hovered = isHovered(view, target);
    const double baseline = box.y + box.height / 2 + 4.7;
    if (look == ButtonLook::plain) {
        view.list.box(box, 8, view.theme.card);
        if (hovered)
            view.list.box(box, 8, pressed ? mixed(view.theme.hover, view.theme.text, 0.12) : view.theme.hover);
        view.list.border(box, 8, mixed(view.theme.hairline, view.theme.text, 0.07));
        view.list.text(box.x + box.width / 2, baseline, name, textStyle(13, 500, view.theme.text), Align::center);
        return;
    }
    const Color base = pressed   ? mixed(view.accent, rgb(0x0A0F2C), 0.25)
                       : hovered ? mixed(view.accent, palette::white, 0.14)
                                 : view.accent;
    if (!pressed)
        view.list.shadow(inset(box, 2), 5, 3, {view.accent.red, view.accent.green, view.accent.blue, 0.4});
    view.list.gradient(box, 8, pressed ? base : mixed(base, palette::white, 0.10), base);
    view.list.text(box.x + box.width / 2, baseline, name, textStyle(13, 600, palette::white), Align::center);
}

void showAvatar(const View& view, Point center, double radius, int person) {
    const Person& who = people[static_cast<std::size_t>(person)];
    const Rect box{center.x - radius, center.y - radius, 2 * radius, 2 * radius};
    view.list.gradient(box, radius, mixed(who.color, palette::white, 0.22), who.color);
    view.list.text(center.x, center.y + 0.36 * radius, who.name.substr(0, 1),
                   textStyle(radius, 600, palette::white), Align::center);
}

double showLabelChip(const View& view, double x, double y, int label) {
    const Label& shown = labels[static_cast<std::size_t>(label)];
    const double width = textWidth(shown.name, 11) + 16;
    Color back = shown.color;
    back.alpha = view.theme.isDark ? 0.24 : 0.13;
    view.list.box({x, y, width, 20}, 6, back);
    const Color ink =
        view.theme.isDark ? mixed(shown.color, palette::white, 0.45) : mixed(shown.color, rgb(0), 0.25);
    view.list.text(x + width / 2, y + 14, shown.name, textStyle(11, 600, ink), Align::center);
    return width;
}

void showTyping(const View& view, Rect field, const TextField& text, std::string_view placeholder, double size) {
    const double baseline = field.y + field.height / 2 + 0.36 * size;
    const double sinceInput = view.now - text.lastInput;
    const bool isCaretLit = std::fmod(sinceInput, 1.06) < 0.6;
    if (text.text.empty()) {
        view.list.text(field.x + 3, baseline, placeholder, textStyle(size, 400, view.theme.textFaint));
        if (isCaretLit) view.list.box({field.x, baseline - size, 1.6, 1.3 * size}, 0.8, view.accent);
        return;
    }
    Color caret = view.accent;
    if (!isCaretLit) caret.alpha = 0;
    view.list.textWithCaret(field.x, baseline, text.text, textStyle(size, 500, view.theme.text), caret);
}

}  // namespace lumenwhirl::demo
