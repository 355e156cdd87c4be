#pragma once

#include "Demo/DesktopState.h"
#include "Demo/DisplayList.h"
#include "Demo/Theme.h"

#include <string>
#include <string_view>

namespace lumenwhirl::demo {

/// What the parts of the picture are drawn from and into.
struct View {
    DisplayList& list;
    const DesktopState& state;
    const Theme& theme;
    Color accent;
    double now = 0;
};

/// The whole desktop as it looks at `view.now`, at or after the state's last input.
void showDesktop(const View& view);

void showBoards(const View& view);
void showNotes(const View& view);
void showTerminal(const View& view);
void showComposer(const View& view);
void showPublishMenu(const View& view);
void showPalette(const View& view);
void showToast(const View& view);
void showBar(const View& view);
void showDock(const View& view);

// Pieces that several of them use.

[[nodiscard]] Rect inset(Rect rect, double by);
[[nodiscard]] TextStyle textStyle(double size, int weight, const Color& color);
/// Shadow, body and edge of a window; the front one stands out more.
void showWindowFrame(const View& view, Window window, const Color& body);
/// Three buttons whose right end is at `right`, in the middle of a bar at `top`.
void showWindowButtons(const View& view, double right, double middle, const Color& color);
/// A popover's shadow, body and edge.
void showPopover(const View& view, Rect box, double radius);
enum class ButtonLook { primary, plain };
void showButton(const View& view, Target target, std::string_view name, ButtonLook look);
void showAvatar(const View& view, Point center, double radius, int person);
/// A soft pill with a label's name; returns its width.
double showLabelChip(const View& view, double x, double y, int label);
/// A text field's text with a caret that blinks once a second, but not while somebody types.
void showTyping(const View& view, Rect field, const TextField& text, std::string_view placeholder, double size);
/// What `width` the text takes, near enough to place the next thing.
[[nodiscard]] double textWidth(std::string_view text, double size);

}  // namespace lumenwhirl::demo
