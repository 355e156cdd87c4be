#include "Engine/Overlays/KeystrokeModel.h"

#include "Engine/Overlays/UpperCase.h"
#include "Engine/Timeline/TimeOrder.h"

#include <algorithm>
#include <span>

namespace lumenwhirl {
namespace {

constexpr double shortestFade = 0.0001;  // seconds

bool holds(const KeyEvent& key, std::string_view modifier) {
    return std::find(key.modifiers.begin(), key.modifiers.end(), modifier) != key.modifiers.end();
}

/// Shift alone makes capitals, not shortcuts.
bool isShortcut(const KeyEvent& key) {
    return holds(key, "cmd") || holds(key, "control") || holds(key, "option") || holds(key, "fn");
}

std::string textOf(const KeyEvent& key, std::optional<std::string_view> special) {
    std::string text;
    if (holds(key, "control")) text += "⌃";
    if (holds(key, "option")) text += "⌥";
    if (holds(key, "shift")) text += "⇧";
    if (holds(key, "cmd")) text += "⌘";
    if (special)
        text += *special;
    else if (!key.chars.empty() && key.chars != " ")
        text += upperCased(key.chars);
    else
        text += "•";
    return text;
}

}  // namespace

std::optional<std::string_view> KeystrokeModel::specialKey(std::int64_t keyCode) {
    switch (keyCode) {
        case 36:
        case 76:
            return "↩";  // Return, keypad Enter
        case 48:
            return "⇥";  // Tab
        case 49:
            return "␣";  // Space
        case 51:
            return "⌫";  // Delete (backspace)
        case 53:
            return "⎋";  // Escape
        case 115:
            return "↖";  // Home
        case 116:
            return "⇞";  // Page Up
        case 117:
            return "⌦";  // Forward Delete
        case 119:
            return "↘";  // End
        case 121:
            return "⇟";  // Page Down
        case 123:
            return "←";
        case 124:
            return "→";
        case 125:
            return "↓";
        case 126:
            return "↑";
        default:
            return std::nullopt;
    }
}

KeystrokeModel::KeystrokeModel(const EventLog& events, bool showAllKeys, double hold, double fade, int maxVisible)
    : hold_(hold),
      fade_(std::max(shortestFade, fade)),
      maxVisible_(static_cast<std::size_t>(std::max(0, maxVisible))) {
    for (const KeyEvent& key : events.keys) {
        if (key.isRepeat) continue;
        const auto special = specialKey(key.keyCode);
        if (showAllKeys || special || isShortcut(key)) shortcuts_.push_back({key.t, textOf(key, special)});
    }
    inOrder_ = isInTimeOrder(std::span<const Shortcut>(shortcuts_));
}

std::vector<KeyPill> KeystrokeModel::pills(double t) const {
    const std::span<const Shortcut> all(shortcuts_);
    const double lifetime = hold_ + fade_;
    const IndexRange candidates = inOrder_ ? aliveRange(all, t, lifetime) : IndexRange{0, all.size()};

    // Newest first, so that no pill is made that is not shown.
    std::vector<KeyPill> visible;
    for (std::size_t index = candidates.last; index > candidates.first && visible.size() < maxVisible_; --index) {
        const Shortcut& shortcut = all[index - 1];
        const double age = t - shortcut.t;
        if (!(age >= 0 && age <= lifetime)) continue;
        visible.push_back({shortcut.text, age <= hold_ ? 1 : std::max(0.0, 1 - (age - hold_) / fade_)});
    }
    std::reverse(visible.begin(), visible.end());
    return visible;
}

std::string KeystrokeModel::texts() const {
    std::string all;
    for (const Shortcut& shortcut : shortcuts_) all += shortcut.text;
    return all;
}

}  // namespace lumenwhirl
