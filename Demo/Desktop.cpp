#include "Demo/Desktop.h"

#include "Demo/DesktopContent.h"
#include "Demo/KeyCodes.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace lumenwhirl::demo {
namespace {

using Kind = Target::Kind;

constexpr std::size_t mostCardsInColumn = 5;
constexpr std::size_t mostTerminalLines = 12;
constexpr std::size_t mostTyped = 24;

bool has(const KeyEvent& key, std::string_view modifier) {
    return std::find(key.modifiers.begin(), key.modifiers.end(), modifier) != key.modifiers.end();
}

bool isWindowSurface(Kind kind) {
    return kind == Kind::boards || kind == Kind::notes || kind == Kind::terminal;
}

}  // namespace

Desktop::Desktop(const DesktopLayout& layout) : state_(layout) {
    state_.columns = initialCards();
    state_.terminal = initialTerminal();
    pointer_ = {-1, -1};
}

Point Desktop::logical(double x, double y) const {
    return {x / state_.layout.scale(), y / state_.layout.scale()};
}

Target Desktop::targetAt(Point point) const {
    const DesktopLayout& layout = state_.layout;
    if (state_.palette.isOpen())
        return contains(layout.rect({Kind::palette}), point) ? Target{Kind::palette} : Target{};
    if (state_.menu.isOpen() && contains(layout.rect({Kind::menu}), point)) {
        for (int i = 0; i < menuItemCount; ++i)
            if (contains(layout.rect({Kind::menuItem, i}), point)) return {Kind::menuItem, i};
        return {Kind::menu};
    }
    if (state_.composer.isOpen() && contains(layout.rect({Kind::composer}), point)) {
        for (int i = 0; i < labelCount; ++i)
            if (contains(layout.rect({Kind::labelChip, i}), point)) return {Kind::labelChip, i};
        for (const Kind kind : {Kind::cancelTask, Kind::addTask})
            if (contains(layout.rect({kind}), point)) return {kind};
        return {Kind::composer};
    }
    for (auto window = state_.order.rbegin(); window != state_.order.rend(); ++window)
        if (contains(layout.window(*window), point)) return targetInWindow(*window, point);
    for (int i = 0; i < dockItemCount; ++i)
        if (contains(layout.rect({Kind::dock, i}), point)) return {Kind::dock, i};
    return {};
}

Target Desktop::targetInWindow(Window window, Point point) const {
    const DesktopLayout& layout = state_.layout;
    if (window == Window::notes && contains(layout.rect({Kind::publish}), point)) return {Kind::publish};
    const Target titleBar{Kind::titleBar, static_cast<int>(window)};
    if (contains(layout.rect(titleBar), point)) return titleBar;
    if (window == Window::boards)
        for (const Kind kind : {Kind::newTask, Kind::filter, Kind::group})
            if (contains(layout.rect({kind}), point)) return {kind};
    constexpr std::array surfaces{Kind::boards, Kind::notes, Kind::terminal};
    return {surfaces[static_cast<std::size_t>(window)]};
}

void Desktop::pointAt(Point point) {
    if (isDragging_) state_.layout.moveWindow(dragged_, point.x - pointer_.x, point.y - pointer_.y);
    pointer_ = point;
    state_.hovered = targetAt(point);
}

void Desktop::handle(const CursorSample& sample) {
    pointAt(logical(sample.x, sample.y));
}

void Desktop::handle(const ClickEvent& click) {
    pointAt(logical(click.x, click.y));
    if (click.phase == ClickPhase::down) {
        press(state_.hovered, click.t);
        return;
    }
    const Target released = std::exchange(state_.pressed, Target{});
    isDragging_ = false;
    if (released == state_.hovered) activate(released, click.t);
    state_.hovered = targetAt(pointer_);  // what opened or closed may lie under the pointer
}

void Desktop::press(Target target, double now) {
    state_.pressed = target;
    const bool inMenu = target.kind == Kind::menu || target.kind == Kind::menuItem;
    if (state_.menu.isOpen() && !inMenu && target.kind != Kind::publish) state_.menu.closedAt = now;
    if (state_.palette.isOpen() && target.kind != Kind::palette) state_.palette.closedAt = now;
    switch (target.kind) {
        case Kind::boards:
        case Kind::newTask:
        case Kind::filter:
        case Kind::group:
            raise(Window::boards);
            break;
        case Kind::notes:
        case Kind::publish:
            raise(Window::notes);
            break;
        case Kind::terminal:
            raise(Window::terminal);
            break;
        case Kind::titleBar:
            dragged_ = static_cast<Window>(target.index);
            isDragging_ = true;
            raise(dragged_);
            break;
        default:
            break;
    }
    if (state_.composer.isOpen() && isWindowSurface(target.kind)) state_.composer.closedAt = now;
}

void Desktop::activate(Target target, double now) {
    switch (target.kind) {
        case Kind::newTask:
            openComposer(now);
            break;
        case Kind::labelChip:
            state_.draftLabel = target.index;
            break;
        case Kind::cancelTask:
            state_.composer.closedAt = now;
            break;
        case Kind::addTask:
            addTask(now);
            break;
        case Kind::publish:
            (state_.menu.isOpen() ? state_.menu.closedAt : state_.menu.openedAt) = now;
            break;
        case Kind::menuItem:
            state_.menu.closedAt = now;
            publish(target.index, now);
            break;
        default:
            break;
    }
}

void Desktop::raise(Window window) {
    const auto found = std::find(state_.order.begin(), state_.order.end(), window);
    std::rotate(found, found + 1, state_.order.end());
}

void Desktop::handle(const ScrollEvent& event) {
    pointAt(logical(event.x, event.y));
    if (state_.hovered.kind != Kind::notes && state_.hovered.kind != Kind::publish) return;
    Scroll& scroll = state_.scroll;
    scroll.from = scroll.offset(event.t);
    scroll.target = std::clamp(scroll.target - event.dy * Scroll::pixelsPerLine, 0.0, Scroll::furthest);
    scroll.startedAt = event.t;
}

void Desktop::handle(const KeyEvent& key) {
    if (has(key, "cmd") || has(key, "control")) return handleShortcut(key);
    if (key.keyCode == keyCode::escape) return dismiss(key.t);
    if (key.keyCode == keyCode::returnKey) return confirm(key.t);
    TextField* const field = state_.palette.isOpen()    ? &state_.query
                             : state_.composer.isOpen() ? &state_.draft
                                                        : nullptr;
    if (field == nullptr) return;
    field->lastInput = key.t;
    if (key.keyCode == keyCode::backspace) {
        if (!field->text.empty()) field->text.pop_back();
    } else if (field->text.size() < mostTyped) {
        field->text += key.chars;
    }
}

void Desktop::handleShortcut(const KeyEvent& key) {
    const KeyStroke save = keyStrokeFor('s'), palette = keyStrokeFor('p');
    if (key.keyCode == save.code && !has(key, "shift")) {
        if (!state_.isBoardSaved)
            print(key.t + 0.1, "saved board, " + std::to_string(taskCount(state_)) + " tasks",
                  TerminalLine::Tone::plain);
        state_.isBoardSaved = true;
        state_.savedAt = key.t;
    } else if (key.keyCode == palette.code && has(key, "shift")) {
        state_.query = {};
        state_.query.lastInput = key.t;
        state_.palette.openedAt = key.t;
    }
}

void Desktop::dismiss(double now) {
    for (Popup* const popup : {&state_.palette, &state_.menu, &state_.composer}) {
        if (!popup->isOpen()) continue;
        popup->closedAt = now;
        return;
    }
}

void Desktop::confirm(double now) {
    if (state_.palette.isOpen()) {
        runPaletteCommand(now);
    } else if (state_.composer.isOpen()) {
        addTask(now);
    }
}

void Desktop::openComposer(double now) {
    if (state_.composer.isOpen()) return;
    state_.draft = {};
    state_.draft.lastInput = now;
    state_.draftLabel = 0;
    state_.composer.openedAt = now;
}

void Desktop::addTask(double now) {
    state_.composer.closedAt = now;
    if (state_.draft.text.empty()) return;
    auto& column = state_.columns.front();
    const auto owner = state_.addedTasks % static_cast<int>(people.size());
    column.insert(column.begin(),
                  {state_.draft.text, state_.draftLabel, "27 Sep", 0, owner, -1, false, now + 0.08});
    if (column.size() > mostCardsInColumn) column.pop_back();
    ++state_.addedTasks;
    state_.isBoardSaved = false;
}

void Desktop::publish(int choice, double now) {
    const MenuEntry& entry = menuEntries[static_cast<std::size_t>(choice)];
    const double done = now + Publishing::duration;
    state_.publishing = {now, choice};
    state_.toast = {std::string(entry.doneTitle), std::string(entry.doneDetail), done + 0.1};
    print(now + 0.15, "\u25b8 " + std::string(entry.logLine), TerminalLine::Tone::plain);
    print(done, "\u2713 " + std::string(entry.logLine) + " done in 1.1 s", TerminalLine::Tone::good);
}

void Desktop::runPaletteCommand(double now) {
    const std::vector<std::size_t> matching = matchingCommands(state_.isDark, state_.query.text);
    if (matching.empty()) return;
    state_.palette.closedAt = now;
    switch (matching.front()) {
        case 0:
            state_.isDark = !state_.isDark;
            state_.appearanceChangedAt = now + Popup::closing;  // once the palette has gone
            break;
        case 1:
            openComposer(now);
            break;
        case 2:
            publish(0, now);
            break;
        default:
            break;
    }
}

void Desktop::print(double at, std::string text, TerminalLine::Tone tone) {
    state_.terminal.push_back({at, std::move(text), tone});
    while (state_.terminal.size() > mostTerminalLines) state_.terminal.pop_front();
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
