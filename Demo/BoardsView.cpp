#include "Demo/DesktopContent.h"
#include "Demo/DesktopView.h"

#include <array>
#include <string>

namespace lumenwhirl::demo {
namespace {

constexpr std::array<std::string_view, 3> columnNames{"To do", "In progress", "Done"};
constexpr std::array columnColors{palette::coral, palette::blue, palette::green};

double cardHeight(const Card& card) {
    return 84 + (card.progress >= 0 ? 18 : 0) + (card.hasCover ? 92 : 0);
}

struct SidebarEntry {
    Icon icon;
    std::string_view name, count;
};

void showSidebarEntry(const View& view, double x, double y, const SidebarEntry& entry, bool isSelected) {
    const Rect row{x, y, DesktopLayout::sidebarWidth - 24, 32};
    if (isSelected) {
        Color back = view.accent;
        back.alpha = view.theme.isDark ? 0.26 : 0.11;
        view.list.box(row, 8, back);
    }
    const Color ink = isSelected ? (view.theme.isDark ? mixed(view.accent, palette::white, 0.5) : view.accent)
                                 : view.theme.textSoft;
    view.list.icon(entry.icon, {x + 10, y + 8, 16, 16}, ink, 1.5);
    view.list.text(x + 36, y + 20.5, entry.name,
                   textStyle(13, isSelected ? 600 : 500, isSelected ? ink : view.theme.text));
    view.list.text(x + row.width - 10, y + 20.5, entry.count, textStyle(12, 500, view.theme.textFaint),
                   Align::right);
}

void showSidebar(const View& view, const Rect& frame) {
    const double x = frame.x + 12;
    view.list.gradient({x + 4, frame.y + 12, 24, 24}, 7, mixed(palette::amber, palette::white, 0.2),
                       palette::coral);
    view.list.icon(Icon::lantern, {x + 8, frame.y + 16, 16, 16}, palette::white, 1.5);
    view.list.text(x + 38, frame.y + 29, "Riverside", textStyle(14, 600, view.theme.text));
    view.list.icon(Icon::chevronDown, {x + 108, frame.y + 17, 14, 14}, view.theme.textFaint, 1.5);

    constexpr std::array<SidebarEntry, 4> general{{{Icon::search, "Search", ""},
                                                   {Icon::inbox, "Inbox", "3"},
                                                   {Icon::check, "My tasks", "5"},
                                                   {Icon::calendar, "Calendar", ""}}};
    double y = frame.y + 58;
    for (const SidebarEntry& entry : general) {
        showSidebarEntry(view, x, y, entry, false);
        y += 34;
    }
    view.list.text(x + 10, y + 28, "Projects", textStyle(11.5, 600, view.theme.textFaint));
    y += 40;
    const std::string tasks = std::to_string(taskCount(view.state));
    const std::array<SidebarEntry, 3> projects{{{Icon::lantern, "Lantern Walk", tasks},
                                                {Icon::sun, "Spring Fair", "6"},
                                                {Icon::board, "Boathouse", "2"}}};
    for (std::size_t i = 0; i < projects.size(); ++i) {
        showSidebarEntry(view, x, y, projects[i], i == 0);
        y += 34;
    }
    view.list.text(x + 10, y + 28, "Team", textStyle(11.5, 600, view.theme.textFaint));
    y += 42;
    for (std::size_t i = 0; i < people.size(); ++i) {
        showAvatar(view, {x + 20, y + 14}, 11, static_cast<int>(i));
        view.list.text(x + 40, y + 18.5, people[i].name, textStyle(13, 500, view.theme.text));
        if (i != 2) view.list.box({x + 170, y + 10.5, 7, 7}, 3.5, palette::green);
        y += 34;
    }
    view.list.icon(Icon::gear, {x + 10, frame.y + frame.height - 38, 16, 16}, view.theme.textSoft, 1.5);
    view.list.text(x + 36, frame.y + frame.height - 25.5, "Settings", textStyle(13, 500, view.theme.textSoft));
}

void showSaveState(const View& view, const Rect& frame) {
    const DesktopState& state = view.state;
    const bool justSaved = state.isBoardSaved && view.now - state.savedAt < 2.5;
    const Color ink = !state.isBoardSaved ? palette::amber : justSaved ? palette::green : view.theme.textFaint;
    const double x = frame.x + 1056, y = frame.y + 154;
    const std::string_view text = state.isBoardSaved ? "All changes saved" : "Unsaved changes";
    view.list.text(x, y, text, textStyle(12.5, 500, view.theme.textSoft), Align::right);
    const double left = x - textWidth(text, 12.5) - 18;
    if (state.isBoardSaved)
        view.list.icon(Icon::check, {left - 4, y - 12, 15, 15}, ink, 1.8);
    else
        view.list.box({left, y - 8, 8, 8}, 4, ink);
}

void showHeader(const View& view, const Rect& frame) {
    const double x = frame.x + 236;
    view.list.text(x, frame.y + 84, "Lantern Walk", textStyle(27, 700, view.theme.text));
    view.list.text(
        x, frame.y + 110,
        std::to_string(taskCount(view.state)) + " tasks  \u00b7  4 people  \u00b7  Saturday, 28 September",
        textStyle(13, 400, view.theme.textSoft));
    for (int i = 3; i >= 0; --i) {
        const Point at{frame.x + 1042 - 24.0 * (3 - i), frame.y + 88};
        view.list.box({at.x - 17, at.y - 17, 34, 34}, 17, view.theme.window);
        showAvatar(view, at, 15, i);
    }
    showButton(view, {Target::Kind::newTask}, "+  New task", ButtonLook::primary);
    showButton(view, {Target::Kind::filter}, "Filter", ButtonLook::plain);
    showButton(view, {Target::Kind::group}, "Group: status", ButtonLook::plain);
    showSaveState(view, frame);
}

/// A night over water with a few lanterns, for a card's cover.
void showCover(const View& view, const Rect& box) {
    view.list.gradient(box, 9, rgb(0x2B2C7A), rgb(0xB65C8E));
    const DisplayList::Clip clip(view.list, box);
    struct Light {
        double x, y, size;
    };
    constexpr std::array<Light, 6> lights{
        {{34, 50, 13}, {76, 26, 9}, {112, 58, 16}, {150, 34, 10}, {186, 56, 13}, {206, 22, 7}}};
    for (const Light& light : lights) {
        const Point at{box.x + light.x, box.y + light.y};
        view.list.glow(at, 2.6 * light.size, rgb(0xFFC26B, 0.75));
        view.list.gradient(
            {at.x - 0.42 * light.size, at.y - 0.55 * light.size, 0.84 * light.size, 1.1 * light.size},
            0.3 * light.size, rgb(0xFFE9B8), rgb(0xFF9E57));
    }
}

void showCard(const View& view, Rect box, const Card& card, bool isDone) {
    const double fresh = 1 - eased((view.now - card.addedAt - 1.1) / 0.7);
    view.list.shadow(inset(box, 1), 4, 2, rgb(0x0A0F2C, view.theme.isDark ? 0.25 : 0.09));
    view.list.box(box, 10, view.theme.card);
    view.list.border(box, 10, view.theme.cardEdge);
    if (card.addedAt > never && fresh > 0) {
        Color ring = view.accent;
        ring.alpha = 0.85 * fresh;
        view.list.border(inset(box, -1), 11, ring, 2);
    }
    double y = box.y;
    if (card.hasCover) {
        showCover(view, {box.x + 8, y + 8, box.width - 16, 84});
        y += 92;
    }
    const Color ink = isDone ? view.theme.textSoft : view.theme.text;
    view.list.text(box.x + 14, y + 29, card.title, textStyle(13.5, 600, ink), Align::left, box.width - 28);
    if (card.progress >= 0) {
        const Rect track{box.x + 14, y + 43, box.width - 28, 5};
        view.list.box(track, 2.5, view.theme.hover);
        view.list.gradient({track.x, track.y, track.width * card.progress, 5}, 2.5,
                           mixed(view.accent, palette::white, 0.2), view.accent);
        y += 18;
    }
    double x = box.x + 14;
    if (card.label >= 0) x += showLabelChip(view, x, y + 48, card.label) + 10;
    view.list.icon(isDone ? Icon::check : Icon::calendar, {x, y + 51, 14, 14},
                   isDone ? palette::green : view.theme.textFaint, 1.4);
    view.list.text(x + 19, y + 62, card.due, textStyle(11.5, 500, view.theme.textSoft));
    if (card.comments > 0) {
        view.list.icon(Icon::comment, {box.x + box.width - 72, y + 51, 14, 14}, view.theme.textFaint, 1.4);
        view.list.text(box.x + box.width - 54, y + 62, std::to_string(card.comments),
                       textStyle(11.5, 500, view.theme.textSoft));
    }
    showAvatar(view, {box.x + box.width - 25, y + 58}, 11, card.owner);
}

void showColumn(const View& view, int index) {
    const Rect box = view.state.layout.column(index);
    const auto number = static_cast<std::size_t>(index);
    const std::vector<Card>& cards = view.state.columns[number];
    view.list.box(box, 12, view.theme.column);
    view.list.box({box.x + 16, box.y + 19, 9, 9}, 4.5, columnColors[number]);
    view.list.text(box.x + 34, box.y + 28.5, columnNames[number], textStyle(13.5, 600, view.theme.text));
    const double countX = box.x + 34 + textWidth(columnNames[number], 13.5) + 12;
    view.list.box({countX, box.y + 14, 24, 19}, 9.5, view.theme.hover);
    // A long session adds more tasks than the column shows.
    const int count = index == 0 ? view.state.addedTasks + initialTasks[0] : initialTasks[number];
    view.list.text(countX + 12, box.y + 28, std::to_string(count), textStyle(11.5, 600, view.theme.textSoft),
                   Align::center);
    view.list.icon(Icon::plus, {box.x + box.width - 34, box.y + 15, 17, 17}, view.theme.textFaint, 1.5);

    const DisplayList::Clip clip(view.list, {box.x, box.y + 44, box.width, box.height - 50});
    double y = box.y + 46;
    for (const Card& card : cards) {
        const double arrived = card.addedAt > never ? settled((view.now - card.addedAt) / 0.38) : 1;
        const DisplayList::Group group(view.list, arrived, (1 - arrived) * -18);
        showCard(view, {box.x + 10, y, box.width - 20, cardHeight(card)}, card, index == 2);
        y += (cardHeight(card) + 10) * arrived;
    }
}

}  // namespace

void showBoards(const View& view) {
    const Rect frame = view.state.layout.window(Window::boards);
    showWindowFrame(view, Window::boards, view.theme.window);
    {
        const DisplayList::Clip clip(view.list, {frame.x, frame.y, DesktopLayout::sidebarWidth, frame.height});
        view.list.box(frame, 12, view.theme.sidebar);
    }
    view.list.box({frame.x + DesktopLayout::sidebarWidth, frame.y, 1, frame.height}, 0, view.theme.hairline);
    showSidebar(view, frame);
    view.list.text(frame.x + 236, frame.y + 27.5, "Projects  /  Lantern Walk",
                   textStyle(12.5, 500, view.theme.textFaint));
    showWindowButtons(view, frame.x + frame.width - 12, frame.y + 23, view.theme.textSoft);
    showHeader(view, frame);
    for (int i = 0; i < 3; ++i) showColumn(view, i);
    showComposer(view);
}

void showComposer(const View& view) {
    const DesktopState& state = view.state;
    const double presence = state.composer.presence(view.now);
    if (presence <= 0) return;
    const Rect box = state.layout.rect({Target::Kind::composer});
    const DisplayList::Group group(view.list, presence, (1 - presence) * -8);
    showPopover(view, box, 12);
    view.list.text(box.x + 16, box.y + 30, "New task", textStyle(14, 600, view.theme.text));
    view.list.text(box.x + box.width - 16, box.y + 30, "in To do", textStyle(12, 500, view.theme.textFaint),
                   Align::right);

    const Rect field = state.layout.draftField();
    view.list.box(field, 8, view.theme.field);
    view.list.border(inset(field, -3), 11, {view.accent.red, view.accent.green, view.accent.blue, 0.22}, 3);
    view.list.border(field, 8, view.accent, 1.5);
    showTyping(view, {field.x + 14, field.y, field.width - 28, field.height}, state.draft, "What needs doing?",
               14.5);

    for (int i = 0; i < labelCount; ++i) {
        const Target target{Target::Kind::labelChip, i};
        const Rect chip = state.layout.rect(target);
        const Label& label = labels[static_cast<std::size_t>(i)];
        const bool isChosen = state.draftLabel == i;
        Color back = label.color;
        back.alpha = isChosen ? 1 : state.hovered == target ? 0.26 : 0.13;
        view.list.box(chip, 8, back);
        const Color ink = isChosen            ? palette::white
                          : view.theme.isDark ? mixed(label.color, palette::white, 0.45)
                                              : mixed(label.color, rgb(0), 0.25);
        view.list.text(chip.x + chip.width / 2, chip.y + 18.5, label.name, textStyle(12.5, 600, ink),
                       Align::center);
    }
    view.list.text(box.x + 16, box.y + 167, "Due 27 Sep", textStyle(12.5, 500, view.theme.textSoft));
    showButton(view, {Target::Kind::cancelTask}, "Cancel", ButtonLook::plain);
    showButton(view, {Target::Kind::addTask}, "Add task", ButtonLook::primary);
}

}  // namespace lumenwhirl::demo
