#include "Demo/DesktopContent.h"
#include "Demo/DesktopView.h"

#include <array>
#include <cmath>
#include <initializer_list>
#include <string>

namespace lumenwhirl::demo {
namespace {

constexpr double margin = 108, measure = 560;

/// Writes the document from top to bottom; remembers how far it got.
class Page {
public:
    Page(const View& view, Point origin) : view_(view), x_(origin.x), y_(origin.y) {}

    void title(std::string_view text) {
        y_ += 40;
        view_.list.text(x_, y_, text, textStyle(31, 700, view_.theme.text));
    }
    void meta(std::string_view text) {
        y_ += 32;
        view_.list.icon(Icon::calendar, {x_, y_ - 13, 16, 16}, view_.theme.textFaint, 1.5);
        view_.list.text(x_ + 24, y_, text, textStyle(13.5, 500, view_.theme.textSoft));
    }
    void heading(std::string_view text) {
        y_ += 46;
        view_.list.text(x_, y_, text, textStyle(20, 600, view_.theme.text));
        y_ += 4;
    }
    void paragraph(std::initializer_list<std::string_view> lines) {
        y_ += 10;
        for (const std::string_view line : lines) {
            y_ += 24;
            view_.list.text(x_, y_, line,
                            textStyle(14.5, 400, mixed(view_.theme.text, view_.theme.textSoft, 0.35)));
        }
    }
    void row(std::string_view time, std::string_view what, std::string_view where) {
        y_ += 42;
        view_.list.box({x_, y_ - 28, measure, 1}, 0, view_.theme.hairline);
        view_.list.text(
            x_ + 2, y_ - 2, time,
            textStyle(13.5, 600, view_.theme.isDark ? mixed(view_.accent, palette::white, 0.45) : view_.accent));
        view_.list.text(x_ + 92, y_ - 2, what, textStyle(14, 500, view_.theme.text));
        view_.list.text(x_ + measure - 2, y_ - 2, where, textStyle(13, 400, view_.theme.textSoft), Align::right);
    }
    void item(std::string_view text, bool isChecked) {
        y_ += 33;
        const Rect check{x_ + 1, y_ - 14, 18, 18};
        if (isChecked) {
            view_.list.box(check, 5, view_.accent);
            view_.list.icon(Icon::check, inset(check, 2), palette::white, 2);
        } else {
            view_.list.border(check, 5, mixed(view_.theme.textFaint, view_.theme.window, 0.3), 1.5);
        }
        view_.list.text(x_ + 32, y_, text,
                        textStyle(14.5, 400, isChecked ? view_.theme.textFaint : view_.theme.text));
    }
    void banner();

private:
    const View& view_;
    double x_, y_;
};

/// Lanterns afloat on a river at night.
void Page::banner() {
    y_ += 24;
    const Rect box{x_, y_, measure, 172};
    y_ += box.height + 4;
    DisplayList& list = view_.list;
    list.gradient(box, 12, rgb(0x232667), rgb(0xD4739A));
    const DisplayList::Clip clip(list, {box.x + 1, box.y + 1, box.width - 2, box.height - 2});
    list.glow({box.x + 430, box.y + 92}, 150, rgb(0xFFB38A, 0.55));
    {
        const DisplayList::Clip water(list, {box.x, box.y + 118, box.width, 54});
        list.gradient(box, 12, rgb(0x1B1E55), rgb(0x3A2F74));
    }
    struct Light {
        double x, y, size;
    };
    constexpr std::array<Light, 11> lights{{{48, 60, 15},
                                            {104, 34, 10},
                                            {150, 78, 18},
                                            {214, 48, 12},
                                            {262, 88, 16},
                                            {318, 30, 9},
                                            {352, 66, 14},
                                            {410, 84, 18},
                                            {458, 40, 11},
                                            {500, 72, 15},
                                            {530, 28, 8}}};
    for (const Light& light : lights) {
        const Point at{box.x + light.x, box.y + light.y};
        const Point mirrored{at.x, box.y + 118 + (118 - light.y) * 0.42};
        list.glow(at, 2.8 * light.size, rgb(0xFFC26B, 0.7));
        list.gradient({at.x - 0.42 * light.size, at.y - 0.56 * light.size, 0.84 * light.size, 1.12 * light.size},
                      0.3 * light.size, rgb(0xFFEFC9), rgb(0xFF9C52));
        list.glow(mirrored, 1.7 * light.size, rgb(0xFFB066, 0.36));
    }
    for (int i = 0; i < 9; ++i)
        list.box({box.x + 20 + 61.0 * i + 13 * (i % 3), box.y + 127 + 11.0 * (i % 4), 34.0 + 7 * (i % 3), 1.5},
                 0.75, rgb(0xFFD9B0, 0.22));
}

void showDocument(const View& view) {
    const Rect area = view.state.layout.page();
    const double offset = view.state.scroll.offset(view.now);
    const DisplayList::Clip clip(view.list, area);
    Page page(view, {area.x - 1 + margin, area.y + 8 - offset});
    page.title("An evening of light");
    page.meta("Saturday, 28 September  \u00b7  18:30 to 22:00");
    page.banner();
    page.paragraph({"When the sun has set we light three hundred paper lanterns and walk them",
                    "down to the river. Everybody is welcome: bring children, neighbours and",
                    "a warm jacket. The walk is flat, half an hour long and free of charge."});
    page.heading("What happens when");
    page.row("18:30", "Lanterns are handed out", "Station square");
    page.row("19:10", "The brass band opens the walk", "Station square");
    page.row("19:15", "Walk along the river", "East bank");
    page.row("20:00", "Lights on the water", "Old boathouse");
    page.row("20:30", "Soup, bread and music", "Boathouse yard");
    page.row("21:45", "Last song, lanterns home", "Old bridge");
    page.heading("What to bring");
    page.item("A cup for the soup", true);
    page.item("A torch for the way back", true);
    page.item("Good shoes, the path may be wet", false);
    page.item("A friend who has never been", false);
    page.heading("Getting there");
    page.paragraph({"Trains stop at Riverside every twenty minutes until half past eleven. Bicycles",
                    "can be left behind the station; please leave the square to those on foot.", "",
                    "If it rains we meet in the station hall and light the lanterns there."});
    page.heading("Thank you");
    page.paragraph({"To the rowing club, the brass band and everybody who folds paper until late."});

    const double moved = view.now - view.state.scroll.startedAt;
    const double shown = 1 - eased((moved - 0.9) / 0.4);
    if (shown <= 0) return;
    const double length = 190, top = area.y + 8 + (area.height - 16 - length) * offset / Scroll::furthest;
    Color thumb = view.theme.text;
    thumb.alpha = 0.30 * shown;
    view.list.box({area.x + area.width - 11, top, 6, length}, 3, thumb);
}

void showPublishButton(const View& view) {
    const Publishing& publishing = view.state.publishing;
    const double elapsed = view.now - publishing.startedAt;
    const Rect box = view.state.layout.rect({Target::Kind::publish});
    const bool isBusy = elapsed < Publishing::duration;
    const bool isDone = !isBusy && elapsed < Publishing::duration + Publishing::shownDone;
    if (!isBusy && !isDone) {
        showButton(view, {Target::Kind::publish}, "Publish", ButtonLook::primary);
        view.list.icon(Icon::chevronDown, {box.x + box.width - 27, box.y + 9, 14, 14}, palette::white, 2);
        return;
    }
    if (isDone) {
        view.list.gradient(box, 8, mixed(palette::green, palette::white, 0.12), palette::green);
        view.list.icon(Icon::check, {box.x + 18, box.y + 8, 16, 16}, palette::white, 2.2);
        view.list.text(box.x + 72, box.y + 20.7, "Done", textStyle(13, 600, palette::white), Align::center);
        return;
    }
    Color back = view.accent;
    back.alpha = view.theme.isDark ? 0.34 : 0.20;
    view.list.box(box, 8, back);
    // Whole pixels of progress: no need to draw a change that nobody sees.
    const double done = std::round(box.width * eased(elapsed / Publishing::duration));
    {
        const DisplayList::Clip clip(view.list, {box.x, box.y, done, box.height});
        view.list.box(box, 8, view.accent);
    }
    const int percent = static_cast<int>(100 * done / box.width);
    view.list.text(box.x + box.width / 2, box.y + 20.7, std::to_string(percent) + " %",
                   textStyle(13, 600, percent > 55 || view.theme.isDark ? palette::white : view.theme.text),
                   Align::center);
}

}  // namespace

void showNotes(const View& view) {
    const Rect frame = view.state.layout.window(Window::notes);
    showWindowFrame(view, Window::notes, view.theme.window);
    showDocument(view);
    {
        const DisplayList::Clip clip(view.list, {frame.x, frame.y, frame.width, 52});
        view.list.box(frame, 12, view.theme.titleBar);
    }
    view.list.box({frame.x, frame.y + 52, frame.width, 1}, 0, view.theme.hairline);
    view.list.icon(Icon::document, {frame.x + 108, frame.y + 17, 18, 18}, palette::blue, 1.6);
    view.list.text(frame.x + 134, frame.y + 31, "Programme", textStyle(14, 600, view.theme.text));
    const double done = view.state.publishing.startedAt + Publishing::duration;
    view.list.text(frame.x + 220, frame.y + 31,
                   view.now >= done && done > 0 ? "published just now" : "edited 2 min ago",
                   textStyle(12.5, 400, view.theme.textFaint));
    showPublishButton(view);
    showWindowButtons(view, frame.x + frame.width - 12, frame.y + 26, view.theme.textSoft);
    showPublishMenu(view);
}

void showPublishMenu(const View& view) {
    const DesktopState& state = view.state;
    const double presence = state.menu.presence(view.now);
    if (presence <= 0) return;
    const DisplayList::Group group(view.list, presence, (1 - presence) * -6);
    showPopover(view, state.layout.rect({Target::Kind::menu}), 12);
    for (int i = 0; i < menuItemCount; ++i) {
        const Target target{Target::Kind::menuItem, i};
        const Rect row = state.layout.rect(target);
        const bool isLit = state.hovered == target || (!state.menu.isOpen() && state.publishing.choice == i &&
                                                       view.now - state.publishing.startedAt < 0.2);
        if (isLit) view.list.box(row, 8, view.accent);
        const MenuEntry& entry = menuEntries[static_cast<std::size_t>(i)];
        view.list.icon(entry.icon, {row.x + 12, row.y + 11, 16, 16}, isLit ? palette::white : view.theme.textSoft,
                       1.5);
        view.list.text(row.x + 40, row.y + 23.7, entry.name,
                       textStyle(13.5, 500, isLit ? palette::white : view.theme.text));
    }
}

}  // namespace lumenwhirl::demo
