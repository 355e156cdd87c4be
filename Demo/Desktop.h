#pragma once

#include "Demo/Icons.h"
#include "Engine/Documents/EventLog.h"
#include "Engine/Geometry/Shapes.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace lumenwhirl::demo {

/// The parts of the desktop that the pointer can be over.
enum class Part {
    none,
    boards,  // the windows
    notes,
    terminal,
    palette,  // the popups
    composer,
    menu,
    dock,
    newTask,  // the controls
    filter,
    group,
    labelChip,
    cancelTask,
    addTask,
    page,
    publish,
    menuItem,
    dockIcon
};
struct Target {
    Part part = Part::none;
    int index = 0;  // of several alike
    bool operator==(const Target&) const = default;
};

inline constexpr int labelCount = 4, menuItemCount = 4, dockIconCount = 7;

/// Where everything is, in logical pixels: a stage of 1920 by 1080 with the windows, as large as fits, in the
/// middle of a desktop that may be wider or taller; the bar and the dock keep to the desktop's edges.
class Layout {
public:
    Layout(int pixelWidth, int pixelHeight);
    [[nodiscard]] double scale() const noexcept { return scale_; }  // device pixels per logical pixel
    [[nodiscard]] Size desktop() const noexcept { return desktop_; }
    [[nodiscard]] Point stage() const noexcept { return stage_; }
    [[nodiscard]] Rect rect(Target target) const;
    /// The same, seen from the corner of the window or popup that the target lies in.
    [[nodiscard]] static Rect rectInside(Target target);
    /// `none` for windows and popups themselves.
    [[nodiscard]] static Part parentOf(Part part);
    /// A control of `parent` at a point of the desktop, otherwise `parent` itself.
    [[nodiscard]] Target innermost(Part parent, Point point) const;

private:
    double scale_ = 1;
    Size desktop_;
    Point stage_;
};

// Times are seconds of the recording. What moves by itself is stored as the time it began, so that a state shows
// any later time until the next input.

inline constexpr double never = -1e9;

/// Smooth at both ends; clamps.
[[nodiscard]] inline double eased(double p) {
    p = std::clamp(p, 0.0, 1.0);
    return p * p * (3 - 2 * p);
}

/// Fast at first, then settling; clamps.
[[nodiscard]] inline double settled(double p) {
    p = 1 - std::clamp(p, 0.0, 1.0);
    return 1 - p * p * p;
}

struct Card {
    std::string title;
    int label = 0;
    std::string_view due;
    int comments = 0;
    int owner = 0;         // of four people
    double progress = -1;  // 0...1, none below 0
    bool hasCover = false;
    double addedAt = never;
};

struct Popup {
    static constexpr double opening = 0.2, closing = 0.14;
    double openedAt = never, closedAt = never;
    [[nodiscard]] bool isOpen() const { return openedAt > closedAt; }
    /// 0 hidden ... 1 fully there.
    [[nodiscard]] double presence(double now) const {
        return isOpen()           ? settled((now - openedAt) / opening)
               : openedAt > never ? 1 - eased((now - closedAt) / closing)
                                  : 0;
    }
};

struct TextField {
    std::string text;
    double lastInput = never;
};

struct TerminalLine {
    enum class Tone { prompt, plain, faint, good };
    double at = never;
    std::string text;
    Tone tone = Tone::plain;
};

struct Scroll {
    static constexpr double furthest = 560, pixelsPerLine = 30;
    double from = 0, target = 0, startedAt = never;
    [[nodiscard]] double offset(double now) const {
        return from + (target - from) * settled((now - startedAt) / 0.28);
    }
};

struct Publishing {
    static constexpr double duration = 1.1;
    double startedAt = never;
    int choice = 0;  // of the menu
    [[nodiscard]] double endsAt() const { return startedAt + duration; }
};

struct MenuEntry {
    std::string_view icon, name, doneTitle, doneDetail, logLine;
};
inline constexpr std::array<MenuEntry, menuItemCount> menuEntries{{
    {icon::globe, "Publish to website", "Programme published", "lantern-walk.example is up to date",
     "publish programme"},
    {icon::mail, "Send to the team", "Sent to the team", "Mira, Jonas, Ines and Theo have it", "send programme"},
    {icon::download, "Export as PDF", "Exported as PDF", "Programme.pdf is in Documents", "export programme"},
    {icon::link, "Copy public link", "Link copied", "Anyone with the link can read along", "link programme"},
}};

/// A make-believe desktop that is operated by nothing but the events of a log: what it shows is what the log did.
/// It understands what DemoScript does with it, no more.
class Desktop {
public:
    /// Events come in order of time, with their positions in captured pixels.
    explicit Desktop(const Layout& where);
    void handle(const CursorSample& sample);
    void handle(const ClickEvent& click);
    void handle(const ScrollEvent& event);
    void handle(const KeyEvent& key);

    // All that a picture of it depends on; to be read only.
    Layout layout;
    std::array<Part, 3> windows{Part::notes, Part::terminal, Part::boards};  // back to front
    Target hovered, pressed;
    std::array<std::vector<Card>, 3> columns;
    int addedTasks = 0;
    Popup composer;
    TextField draft;
    int draftLabel = 0;
    bool isBoardSaved = true;
    double savedAt = never;
    Popup menu;
    Publishing publishing;
    Popup palette;
    TextField query;
    bool isDark = false;                 // from the change on; the other one until then
    double appearanceChangedAt = never;  // may lie ahead
    Scroll scroll;
    std::deque<TerminalLine> terminal;

    [[nodiscard]] bool isDarkAt(double now) const { return isDark == (now >= appearanceChangedAt); }
    /// A long recording adds more tasks than the first column shows.
    [[nodiscard]] int taskCount(std::size_t column) const;
    [[nodiscard]] int taskCount() const { return taskCount(0) + taskCount(1) + taskCount(2); }

private:
    void pointAt(double x, double y);
    [[nodiscard]] Target targetAt(Point point) const;
    void activate(Target target, double now);
    void addTask(double now);
    void publish(int choice, double now);
    void print(double at, std::string text, TerminalLine::Tone tone);
};

/// Plays a log to a desktop, up to any later and later time.
class LogPlayer {
public:
    /// Both must outlive the player.
    LogPlayer(const EventLog& log, Desktop& desktop) : log_(log), desktop_(desktop) {}
    /// Everything at or before `time`. Of events at one time the pointer moves first.
    void advance(double time);

private:
    const EventLog& log_;
    Desktop& desktop_;
    std::size_t cursor_ = 0, clicks_ = 0, scroll_ = 0, keys_ = 0;
};

}  // namespace lumenwhirl::demo
