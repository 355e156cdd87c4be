#pragma once

#include "Demo/DesktopState.h"
#include "Engine/Documents/EventLog.h"

#include <cstddef>
#include <string>

namespace lumenwhirl::demo {

/// A make-believe desktop that is operated by nothing but the events of a log: what it shows is what the log did.
/// Events come in order of time, with their positions in captured pixels.
class Desktop {
public:
    explicit Desktop(const DesktopLayout& layout);

    void handle(const CursorSample& sample);
    void handle(const ClickEvent& click);
    void handle(const ScrollEvent& event);
    void handle(const KeyEvent& key);

    [[nodiscard]] const DesktopState& state() const noexcept { return state_; }
    /// The topmost thing at a logical position.
    [[nodiscard]] Target targetAt(Point point) const;

private:
    [[nodiscard]] Target targetInWindow(Window window, Point point) const;
    [[nodiscard]] Point logical(double x, double y) const;
    void pointAt(Point point);
    void press(Target target, double now);
    void activate(Target target, double now);
    void raise(Window window);
    void handleShortcut(const KeyEvent& key);
    void dismiss(double now);
    void confirm(double now);
    void addTask(double now);
    void publish(int choice, double now);
    void runPaletteCommand(double now);
    void openComposer(double now);
    void print(double at, std::string text, TerminalLine::Tone tone);

    DesktopState state_;
    Point pointer_;
    bool isDragging_ = false;
    Window dragged_ = Window::boards;
};

/// Plays a log to a desktop, up to any later and later time.
class LogPlayer {
public:
    /// `log` must outlive the player.
    LogPlayer(const EventLog& log, Desktop& desktop) : log_(log), desktop_(desktop) {}
    /// Everything at or before `time`. Of events at one time the pointer moves first.
    void advance(double time);

private:
    const EventLog& log_;
    Desktop& desktop_;
    std::size_t cursor_ = 0, clicks_ = 0, scroll_ = 0, keys_ = 0;
};

}  // namespace lumenwhirl::demo
