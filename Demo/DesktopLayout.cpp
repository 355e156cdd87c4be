#include "Demo/DesktopLayout.h"

#include <algorithm>

namespace lumenwhirl::demo {
namespace {

// On the stage.
constexpr std::array<Rect, windowCount> windows{Rect{64, 84, 1080, 768}, Rect{1064, 128, 776, 600},
                                                Rect{1176, 752, 664, 220}};
constexpr double dockIcon = 48, dockGap = 12, dockPadding = 12;

}  // namespace

DesktopLayout::DesktopLayout(int pixelWidth, int pixelHeight) {
    scale_ = std::min(pixelWidth / 1920.0, pixelHeight / 1080.0);
    desktop_ = {pixelWidth / scale_, pixelHeight / scale_};
    stage_ = {(desktop_.width - 1920) / 2, (desktop_.height - 1080) / 2};
}

Rect DesktopLayout::window(Window which) const {
    const auto index = static_cast<std::size_t>(which);
    Rect rect = windows[index];
    rect.x += stage_.x + moved_[index].x;
    rect.y += stage_.y + moved_[index].y;
    return rect;
}

Rect DesktopLayout::inWindow(Window which, Rect offset) const {
    const Rect frame = window(which);
    return {frame.x + offset.x, frame.y + offset.y, offset.width, offset.height};
}

Rect DesktopLayout::dock() const {
    const double width = dockItemCount * dockIcon + (dockItemCount - 1) * dockGap + 2 * dockPadding;
    const double height = dockIcon + 2 * dockPadding;
    return {desktop_.width / 2 - width / 2, desktop_.height - 14 - height, width, height};
}

Rect DesktopLayout::toast() const {
    return {desktop_.width - 24 - 356, barHeight + 16, 356, 72};
}

Rect DesktopLayout::draftField() const {
    return inWindow(Window::boards, {252, 222, 316, 40});
}

Rect DesktopLayout::column(int index) const {
    return inWindow(Window::boards, {sidebarWidth + 24 + 280.0 * index, 188, 260, 560});
}

Rect DesktopLayout::page() const {
    return inWindow(Window::notes, {1, 53, 774, 546});
}

void DesktopLayout::moveWindow(Window which, double dx, double dy) {
    moved_[static_cast<std::size_t>(which)].x += dx;
    moved_[static_cast<std::size_t>(which)].y += dy;
}

Rect DesktopLayout::rect(Target target) const {
    const double index = target.index;
    switch (target.kind) {
        case Target::Kind::none:
            return {0, 0, desktop_.width, desktop_.height};
        case Target::Kind::dock:
            return {dock().x + dockPadding + index * (dockIcon + dockGap), dock().y + dockPadding, dockIcon,
                    dockIcon};
        case Target::Kind::boards:
            return window(Window::boards);
        case Target::Kind::notes:
            return window(Window::notes);
        case Target::Kind::terminal:
            return window(Window::terminal);
        case Target::Kind::newTask:
            return inWindow(Window::boards, {236, 132, 118, 34});
        case Target::Kind::filter:
            return inWindow(Window::boards, {364, 132, 84, 34});
        case Target::Kind::group:
            return inWindow(Window::boards, {458, 132, 114, 34});
        case Target::Kind::composer:
            return inWindow(Window::boards, {236, 176, 348, 194});
        case Target::Kind::labelChip:
            return inWindow(Window::boards, {252 + 80 * index, 276, 74, 28});
        case Target::Kind::cancelTask:
            return inWindow(Window::boards, {392, 322, 76, 32});
        case Target::Kind::addTask:
            return inWindow(Window::boards, {476, 322, 92, 32});
        case Target::Kind::publish:
            return inWindow(Window::notes, {536, 10, 124, 32});
        case Target::Kind::menu:
            return inWindow(Window::notes, {424, 50, 236, 168});
        case Target::Kind::menuItem:
            return inWindow(Window::notes, {432, 58 + 38 * index, 220, 38});
        case Target::Kind::palette:
            return {desktop_.width / 2 - 320, stage_.y + 236, 640, 300};
        case Target::Kind::titleBar: {
            Rect bar = window(static_cast<Window>(target.index));
            bar.height = titleBarHeight;
            return bar;
        }
    }
    return {};
}

}  // namespace lumenwhirl::demo
