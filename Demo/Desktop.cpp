#include "Demo/Desktop.h"

#include <limits>
#include <utility>

namespace lumenwhirl::demo {
namespace {

struct Place {
    Part part, parent;
    Rect box;         // inside the parent; `none` is the stage
    Point step = {};  // from one to the next of several alike
    int count = 1;
};
constexpr std::array places{
    Place{Part::boards, Part::none, {64, 84, 1080, 768}},
    Place{Part::notes, Part::none, {1064, 128, 776, 600}},
    Place{Part::terminal, Part::none, {1176, 752, 664, 220}},
    Place{Part::palette, Part::none, {640, 236, 640, 300}},
    Place{Part::composer, Part::none, {300, 260, 348, 194}},
    Place{Part::menu, Part::none, {1488, 178, 236, 168}},
    Place{Part::dock, Part::none, {744, 0, 432, 72}},  // 14 above the desktop's lower edge
    Place{Part::newTask, Part::boards, {236, 132, 118, 34}},
    Place{Part::filter, Part::boards, {364, 132, 84, 34}},
    Place{Part::group, Part::boards, {458, 132, 114, 34}},
    Place{Part::labelChip, Part::composer, {16, 100, 74, 28}, {80, 0}, labelCount},
    Place{Part::cancelTask, Part::composer, {156, 146, 76, 32}},
    Place{Part::addTask, Part::composer, {240, 146, 92, 32}},
    Place{Part::page, Part::notes, {1, 53, 774, 546}},
    Place{Part::publish, Part::notes, {536, 10, 124, 32}},
    Place{Part::menuItem, Part::menu, {8, 8, 220, 38}, {0, 38}, menuItemCount},
    Place{Part::dockIcon, Part::dock, {12, 12, 48, 48}, {60, 0}, dockIconCount},
};

const Place& placeOf(Part part) {
    return *std::find_if(places.begin(), places.end(), [part](const Place& place) { return place.part == part; });
}

bool contains(const Rect& rect, Point point) {
    return point.x >= rect.x && point.x < rect.x + rect.width && point.y >= rect.y &&
           point.y < rect.y + rect.height;
}

bool holds(const KeyEvent& key, std::string_view modifier) {
    return std::find(key.modifiers.begin(), key.modifiers.end(), modifier) != key.modifiers.end();
}

}  // namespace

Layout::Layout(int pixelWidth, int pixelHeight) : scale_(std::min(pixelWidth / 1920.0, pixelHeight / 1080.0)) {
    desktop_ = {pixelWidth / scale_, pixelHeight / scale_};
    stage_ = {(desktop_.width - 1920) / 2, (desktop_.height - 1080) / 2};
}

Rect Layout::rectInside(Target target) {
    const Place& place = placeOf(target.part);
    Rect box = place.box;
    box.x += target.index * place.step.x;
    box.y += target.index * place.step.y;
    return box;
}

Rect Layout::rect(Target target) const {
    const Part parent = parentOf(target.part);
    const Rect around = parent == Part::none ? Rect{stage_.x, stage_.y, 1920, 1080} : rect({parent});
    Rect box = rectInside(target);
    box.x += around.x;
    box.y = target.part == Part::dock ? desktop_.height - 14 - box.height : box.y + around.y;
    return box;
}

Part Layout::parentOf(Part part) {
    return part == Part::none ? part : placeOf(part).parent;
}

Target Layout::innermost(Part parent, Point point) const {
    for (const Place& place : places)
        for (int i = 0; place.parent == parent && i < place.count; ++i)
            if (contains(rect({place.part, i}), point)) return {place.part, i};
    return {parent};
}

Desktop::Desktop(const Layout& where) : layout(where) {
    columns = {{
        {
            {"Order 300 paper lanterns", 3, "12 Sep", 4, 1},
            {"Map the route along the river", 0, "14 Sep", 2, 0, 0.4},
            {"Print the signposts", 2, "18 Sep", 0, 2},
            {"Ask the rowing club for boats", 0, "20 Sep", 1, 3},
        },
        {
            {"Poster for the station hall", 2, "6 Sep", 7, 2, -1, true},
            {"Invite the brass band", 1, "9 Sep", 3, 1},
            {"Test the lights at the boathouse", 3, "10 Sep", 5, 3, 0.75},
        },
        {
            {"Choose the evening", 0, "1 Aug", 6, 0},
            {"Permit for the old bridge", 0, "16 Aug", 9, 3},
            {"Pick twelve volunteers", 1, "23 Aug", 2, 1},
            {"Sketch the programme", 2, "28 Aug", 4, 2},
        },
    }};
    using enum TerminalLine::Tone;
    terminal = {{never, "~/lantern-walk $ site watch", prompt},
                {never, "reading 24 pages, 61 pictures", plain},
                {never, "built in 1.84 s, no warnings", good},
                {never, "watching for changes \u2026", faint}};
}

int Desktop::taskCount(std::size_t column) const {
    return column == 0 ? 4 + addedTasks : static_cast<int>(columns[column].size());
}

Target Desktop::targetAt(Point point) const {
    std::vector<Part> frontToBack;
    if (palette.isOpen()) {
        frontToBack = {Part::palette};
    } else {
        if (menu.isOpen()) frontToBack.push_back(Part::menu);
        if (composer.isOpen()) frontToBack.push_back(Part::composer);
        frontToBack.insert(frontToBack.end(), windows.rbegin(), windows.rend());
        frontToBack.push_back(Part::dock);
    }
    for (const Part part : frontToBack)
        if (contains(layout.rect({part}), point)) return layout.innermost(part, point);
    return {};
}

void Desktop::pointAt(double x, double y) {
    hovered = targetAt({x / layout.scale(), y / layout.scale()});
}

void Desktop::handle(const CursorSample& sample) {
    pointAt(sample.x, sample.y);
}

void Desktop::handle(const ClickEvent& click) {
    pointAt(click.x, click.y);
    if (click.phase == ClickPhase::down) {
        pressed = hovered;
        const auto window = std::find(windows.begin(), windows.end(), Layout::parentOf(pressed.part));
        if (window != windows.end()) std::rotate(window, window + 1, windows.end());
        return;
    }
    const Target released = std::exchange(pressed, Target{});
    if (released == hovered) activate(released, click.t);
    pointAt(click.x, click.y);  // what opened or closed may lie under the pointer
}

void Desktop::activate(Target target, double now) {
    if (target.part == Part::newTask) {
        draft = {{}, now};
        draftLabel = 0;
        composer.openedAt = now;
    } else if (target.part == Part::labelChip) {
        draftLabel = target.index;
    } else if (target.part == Part::addTask) {
        composer.closedAt = now;
        addTask(now);
    } else if (target.part == Part::publish) {
        menu.openedAt = now;
    } else if (target.part == Part::menuItem) {
        menu.closedAt = now;
        publish(target.index, now);
    }
}

void Desktop::addTask(double now) {
    constexpr std::size_t mostShown = 5;
    auto& column = columns.front();
    column.insert(column.begin(), {draft.text, draftLabel, "27 Sep", 0, addedTasks % 4, -1, false, now + 0.08});
    if (column.size() > mostShown) column.pop_back();
    ++addedTasks;
    isBoardSaved = false;
}

void Desktop::publish(int choice, double now) {
    publishing = {now, choice};
    const std::string what(menuEntries[static_cast<std::size_t>(choice)].logLine);
    print(now + 0.15, "\u25b8 " + what, TerminalLine::Tone::plain);
    print(publishing.endsAt(), "\u2713 " + what + " done in 1.1 s", TerminalLine::Tone::good);
}

void Desktop::handle(const ScrollEvent& event) {
    pointAt(event.x, event.y);
    if (Layout::parentOf(hovered.part) != Part::notes) return;
    scroll.from = scroll.offset(event.t);
    scroll.target = std::clamp(scroll.target - event.dy * Scroll::pixelsPerLine, 0.0, Scroll::furthest);
    scroll.startedAt = event.t;
}

void Desktop::handle(const KeyEvent& key) {
    if (holds(key, "cmd")) {
        if (key.chars == "p") {
            query = {{}, key.t};
            palette.openedAt = key.t;
        } else if (key.chars == "s") {
            if (!isBoardSaved)
                print(key.t + 0.1, "saved board, " + std::to_string(taskCount()) + " tasks",
                      TerminalLine::Tone::plain);
            isBoardSaved = true;
            savedAt = key.t;
        }
    } else if (palette.isOpen() && key.chars == "\r") {
        palette.closedAt = key.t;
        isDark = !isDark;
        appearanceChangedAt = key.t + Popup::closing;  // once the palette has gone
    } else if (palette.isOpen() || composer.isOpen()) {
        TextField& field = palette.isOpen() ? query : draft;
        field.text += key.chars;
        field.lastInput = key.t;
    }
}

void Desktop::print(double at, std::string text, TerminalLine::Tone tone) {
    constexpr std::size_t mostKept = 12;
    terminal.push_back({at, std::move(text), tone});
    if (terminal.size() > mostKept) terminal.pop_front();
}

void LogPlayer::advance(double time) {
    constexpr double none = std::numeric_limits<double>::infinity();
    const auto nextTime = [](const auto& events, std::size_t index) {
        return index < events.size() ? events[index].t : none;
    };
    while (true) {
        const double move = nextTime(log_.cursor, cursor_), click = nextTime(log_.clicks, clicks_);
        const double scroll = nextTime(log_.scroll, scroll_), key = nextTime(log_.keys, keys_);
        const double first = std::min({move, click, scroll, key});
        if (first > time || first == none) return;
        if (move == first)
            desktop_.handle(log_.cursor[cursor_++]);
        else if (click == first)
            desktop_.handle(log_.clicks[clicks_++]);
        else if (scroll == first)
            desktop_.handle(log_.scroll[scroll_++]);
        else
            desktop_.handle(log_.keys[keys_++]);
    }
}

}  // namespace lumenwhirl::demo
