#pragma once

#include "Engine/Geometry/Point.h"
#include "Engine/Geometry/Rect.h"
#include "Engine/Geometry/Size.h"

#include <array>
#include <cstddef>

namespace lumenwhirl::demo {

enum class Window : std::size_t { boards, notes, terminal };
inline constexpr std::size_t windowCount = 3;

/// Something on the desktop that a pointer can be over.
struct Target {
    enum class Kind {
        none,
        dock,
        boards,
        notes,
        terminal,  // surfaces; `index` of dock: which icon
        newTask,
        filter,
        group,
        composer,
        labelChip,
        cancelTask,
        addTask,  // the board's
        publish,
        menu,
        menuItem,  // the document's
        palette,
        titleBar  // `index` of titleBar: which window
    };
    Kind kind = Kind::none;
    int index = 0;
    bool operator==(const Target&) const = default;
};

inline constexpr int labelCount = 4, menuItemCount = 4, dockItemCount = 7;

/// Where everything is, in logical pixels: a stage of 1920 by 1080 with the windows, in the middle of a desktop
/// that may be wider or taller; the bar and the dock keep to the desktop's edges.
class DesktopLayout {
public:
    /// The largest stage that fits into so many device pixels.
    DesktopLayout(int pixelWidth, int pixelHeight);

    [[nodiscard]] double scale() const noexcept { return scale_; }  // device pixels a logical pixel
    [[nodiscard]] Size desktop() const noexcept { return desktop_; }
    [[nodiscard]] Rect stage() const noexcept { return {stage_.x, stage_.y, 1920, 1080}; }
    [[nodiscard]] Rect rect(Target target) const;
    [[nodiscard]] Rect window(Window which) const;
    [[nodiscard]] Rect bar() const noexcept { return {0, 0, desktop_.width, barHeight}; }
    [[nodiscard]] Rect dock() const;
    [[nodiscard]] Rect toast() const;
    [[nodiscard]] Rect draftField() const;
    [[nodiscard]] Rect column(int index) const;
    /// Where the document's text scrolls.
    [[nodiscard]] Rect page() const;
    void moveWindow(Window which, double dx, double dy);

    static constexpr double barHeight = 36;
    static constexpr double titleBarHeight = 44;
    static constexpr double sidebarWidth = 212;

private:
    [[nodiscard]] Rect inWindow(Window which, Rect offset) const;

    double scale_ = 1;
    Size desktop_;
    Point stage_;
    std::array<Point, windowCount> moved_{};
};

[[nodiscard]] inline bool contains(const Rect& rect, Point point) {
    return point.x >= rect.x && point.x < rect.x + rect.width && point.y >= rect.y &&
           point.y < rect.y + rect.height;
}
[[nodiscard]] inline Point center(const Rect& rect) {
    return {rect.x + rect.width / 2, rect.y + rect.height / 2};
}

}  // namespace lumenwhirl::demo
