#pragma once

#include "Demo/DesktopLayout.h"

#include <algorithm>
#include <array>
#include <deque>
#include <string>
#include <vector>

namespace lumenwhirl::demo {

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
    int label = -1;  // of `labels`, none below 0
    std::string due;
    int comments = 0;
    int owner = 0;         // of `people`
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

struct Toast {
    std::string title, detail;
    double shownAt = never;
    static constexpr double lifetime = 3.4;
};

struct TerminalLine {
    enum class Tone { prompt, plain, faint, good };
    double at = never;
    std::string text;
    Tone tone = Tone::plain;
};

struct Scroll {
    double from = 0, target = 0, startedAt = never;
    static constexpr double furthest = 560, pixelsPerLine = 30;
    [[nodiscard]] double offset(double now) const {
        return from + (target - from) * settled((now - startedAt) / 0.28);
    }
};

struct Publishing {
    double startedAt = never;
    int choice = 0;  // of the menu
    static constexpr double duration = 1.1, shownDone = 2.6;
};

/// Everything about the desktop that a picture depends on.
struct DesktopState {
    explicit DesktopState(DesktopLayout where) : layout(where) {}

    DesktopLayout layout;
    std::array<Window, windowCount> order{Window::notes, Window::terminal, Window::boards};  // back to front
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
    Toast toast;
    Popup palette;
    TextField query;
    bool isDark = false;                 // from the change on; the other one until then
    double appearanceChangedAt = never;  // may lie ahead
    Scroll scroll;
    std::deque<TerminalLine> terminal;

    [[nodiscard]] bool isDarkAt(double now) const { return isDark == (now >= appearanceChangedAt); }
};

}  // namespace lumenwhirl::demo
