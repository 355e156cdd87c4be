#include "Demo/DesktopContent.h"
#include "Demo/DesktopView.h"

#include <array>
#include <cmath>
#include <string>
#include <vector>

namespace lumenwhirl::demo {
namespace {

constexpr std::array<std::string_view, windowCount> windowNames{"Boards", "Notes", "Terminal"};

std::string clockText(double now) {
    const int minutes = 10 * 60 + 24 + static_cast<int>(now / 60);
    const int hour = minutes / 60 % 24, minute = minutes % 60;
    return std::to_string(hour) + (minute < 10 ? ":0" : ":") + std::to_string(minute);
}

Color lineColor(const View& view, TerminalLine::Tone tone) {
    switch (tone) {
        case TerminalLine::Tone::prompt:
            return rgb(0xF2F4FF);
        case TerminalLine::Tone::plain:
            return rgb(0xB9C0DC);
        case TerminalLine::Tone::faint:
            return rgb(0x7C84A6);
        case TerminalLine::Tone::good:
            return rgb(0x6EE7A8);
    }
    return view.theme.text;
}

}  // namespace

void showDesktop(const View& view) {
    const Size size = view.state.layout.desktop();
    view.list.wallpaper({0, 0, size.width, size.height});
    std::uint32_t layer = 1;
    for (const Window window : view.state.order) {
        view.list.setLayer(layer++);
        switch (window) {
            case Window::boards:
                showBoards(view);
                break;
            case Window::notes:
                showNotes(view);
                break;
            case Window::terminal:
                showTerminal(view);
                break;
        }
    }
    view.list.setLayer(layer);
    showBar(view);
    showDock(view);
    showToast(view);
    showPalette(view);
}

void showTerminal(const View& view) {
    const Rect frame = view.state.layout.window(Window::terminal);
    showWindowFrame(view, Window::terminal, rgb(0x161A2E));
    {
        const DisplayList::Clip clip(view.list, {frame.x, frame.y, frame.width, 36});
        view.list.box(frame, 12, rgb(0x20253D));
    }
    view.list.icon(Icon::terminal, {frame.x + 14, frame.y + 10, 16, 16}, rgb(0x9AA3C7), 1.6);
    view.list.text(frame.x + frame.width / 2, frame.y + 23, "lantern-walk \u2014 site watch",
                   textStyle(12.5, 500, rgb(0xAEB6D6)), Align::center);
    showWindowButtons(view, frame.x + frame.width - 10, frame.y + 18, rgb(0xC4CBE8));

    std::vector<const TerminalLine*> lines;
    for (const TerminalLine& line : view.state.terminal)
        if (line.at <= view.now) lines.push_back(&line);
    constexpr std::size_t mostShown = 8;
    const std::size_t first = lines.size() > mostShown ? lines.size() - mostShown : 0;
    double y = frame.y + 60;
    for (std::size_t i = first; i < lines.size(); ++i) {
        view.list.text(frame.x + 18, y, lines[i]->text, {12.5, 400, lineColor(view, lines[i]->tone), true});
        y += 20;
    }
    const bool isLit = std::fmod(view.now, 1.2) < 0.7;
    if (isLit && lines.size() - first < mostShown) view.list.box({frame.x + 18, y - 11, 8, 15}, 1, rgb(0x7C84A6));
}

void showBar(const View& view) {
    const Rect bar = view.state.layout.bar();
    const Theme& theme = view.theme;
    view.list.box(bar, 0, theme.bar);
    view.list.box({0, bar.height - 1, bar.width, 1}, 0, theme.hairline);
    view.list.gradient({16, 9, 18, 18}, 9, mixed(view.accent, palette::white, 0.35), view.accent);
    view.list.box({22, 15, 6, 6}, 3, palette::white);
    double x = 50;
    const std::string_view name = windowNames[static_cast<std::size_t>(view.state.order.back())];
    view.list.text(x, 23, name, textStyle(13, 700, theme.barText));
    x += textWidth(name, 13) + 26;
    for (const std::string_view menu : {"File", "Edit", "View", "Window", "Help"}) {
        view.list.text(x, 23, menu, textStyle(13, 500, theme.barText));
        x += textWidth(menu, 13) + 22;
    }
    view.list.text(bar.width / 2, 23, "Thu 5 Sep   " + clockText(view.now), textStyle(13, 600, theme.barText),
                   Align::center);
    x = bar.width - 38;
    for (const Icon icon : {Icon::battery, Icon::volume, Icon::wifi, Icon::search}) {
        view.list.icon(icon, {x, 9, 18, 18}, theme.barText, 1.5);
        x -= 34;
    }
}

void showDock(const View& view) {
    struct App {
        Icon icon;
        Color top, bottom;
    };
    const std::array<App, dockItemCount> apps{{{Icon::folder, rgb(0x7CC4FF), rgb(0x2F7BF0)},
                                               {Icon::globe, rgb(0x62E3C8), rgb(0x0E9C93)},
                                               {Icon::board, rgb(0x9C86FF), rgb(0x5B45E8)},
                                               {Icon::document, rgb(0xFFC46B), rgb(0xF58220)},
                                               {Icon::terminal, rgb(0x4A5275), rgb(0x1C2138)},
                                               {Icon::note, rgb(0xFF8FB8), rgb(0xE5397F)},
                                               {Icon::gear, rgb(0xB7BED2), rgb(0x717A97)}}};
    const Rect dock = view.state.layout.dock();
    view.list.shadow(inset(dock, 4), 16, 10, rgb(0x0A0F2C, 0.28));
    view.list.box(dock, 20, view.theme.dock);
    view.list.border(dock, 20, view.theme.dockEdge);
    for (int i = 0; i < dockItemCount; ++i) {
        const Target target{Target::Kind::dock, i};
        const Rect box = view.state.layout.rect(target);
        const App& app = apps[static_cast<std::size_t>(i)];
        const double light = view.state.hovered == target ? 0.18 : 0;
        view.list.shadow(inset(box, 3), 4, 3, rgb(0x0A0F2C, 0.28));
        view.list.gradient(box, 13, mixed(app.top, palette::white, light),
                           mixed(app.bottom, palette::white, light));
        view.list.border(box, 13, rgb(0xFFFFFF, 0.16));
        view.list.icon(app.icon, inset(box, 11), palette::white, 2);
        if (i >= 2 && i <= 4)
            view.list.box({box.x + box.width / 2 - 2.5, box.y + box.height + 4, 5, 5}, 2.5,
                          {view.theme.text.red, view.theme.text.green, view.theme.text.blue, 0.7});
    }
}

void showToast(const View& view) {
    const Toast& toast = view.state.toast;
    const double age = view.now - toast.shownAt;
    if (age < 0 || age > Toast::lifetime) return;
    const double arrived = settled(age / 0.35), leaving = eased((age - Toast::lifetime + 0.3) / 0.3);
    const Rect box = view.state.layout.toast();
    const DisplayList::Group group(view.list, arrived * (1 - leaving), (1 - arrived) * -24);
    showPopover(view, box, 14);
    view.list.gradient({box.x + 16, box.y + 16, 40, 40}, 20, mixed(palette::green, palette::white, 0.2),
                       palette::green);
    view.list.icon(Icon::check, {box.x + 26, box.y + 26, 20, 20}, palette::white, 2.4);
    view.list.text(box.x + 72, box.y + 32, toast.title, textStyle(14, 600, view.theme.text));
    view.list.text(box.x + 72, box.y + 52, toast.detail, textStyle(12.5, 400, view.theme.textSoft), Align::left,
                   box.width - 88);
}

void showPalette(const View& view) {
    const DesktopState& state = view.state;
    const double presence = state.palette.presence(view.now);
    if (presence <= 0) return;
    const Size size = state.layout.desktop();
    view.list.box({0, 0, size.width, size.height}, 0, rgb(0x0A0F2C, 0.26 * presence));
    constexpr std::array icons{Icon::moon, Icon::plus, Icon::globe, Icon::calendar, Icon::sun};
    constexpr std::array<std::string_view, 5> hints{"", "\u2318N", "\u21e7\u2318U", "\u23182", "\u23185"};
    const bool isDark = view.theme.isDark;
    const std::vector<std::string_view> commands = paletteCommands(isDark);
    const std::vector<std::size_t> matching = matchingCommands(isDark, state.query.text);

    Rect box = state.layout.rect({Target::Kind::palette});
    box.height = 64 + (matching.empty() ? 0 : 12 + 46 * static_cast<double>(matching.size()));
    const DisplayList::Group group(view.list, presence, (1 - presence) * -10);
    showPopover(view, box, 16);
    view.list.icon(Icon::search, {box.x + 22, box.y + 22, 20, 20}, view.theme.textFaint, 1.8);
    showTyping(view, {box.x + 58, box.y, box.width - 80, 64}, state.query, "Type a command", 18);
    if (matching.empty()) return;
    view.list.box({box.x, box.y + 64, box.width, 1}, 0, view.theme.hairline);
    double y = box.y + 70;
    for (std::size_t i = 0; i < matching.size(); ++i) {
        const std::size_t command = matching[i];
        const bool isFirst = i == 0;
        if (isFirst) view.list.box({box.x + 8, y, box.width - 16, 46}, 10, view.accent);
        const Icon icon = command == 0 && isDark ? Icon::sun : icons[command];
        view.list.icon(icon, {box.x + 23, y + 14, 18, 18}, isFirst ? palette::white : view.theme.textSoft, 1.6);
        view.list.text(box.x + 58, y + 28, commands[command],
                       textStyle(14.5, 500, isFirst ? palette::white : view.theme.text));
        view.list.text(box.x + box.width - 26, y + 28, isFirst ? "\u21a9" : hints[command],
                       textStyle(13, 500, isFirst ? palette::white : view.theme.textFaint), Align::right);
        y += 46;
    }
}

}  // namespace lumenwhirl::demo
