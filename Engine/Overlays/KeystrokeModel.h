#pragma once

#include "Engine/Documents/EventLog.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumenwhirl {

/// A keystroke shown on screen, such as ⇧⌘S.
struct KeyPill {
    std::string text;
    double opacity = 0;  // 0...1
    bool operator==(const KeyPill&) const = default;
};

/// Which keystroke pills show when. Times are source seconds. Built once, then only read.
class KeystrokeModel {
public:
    /// `hold` and `fade` in seconds, `fade` raised to 0.0001.
    KeystrokeModel(const EventLog& events, bool showAllKeys, double hold, double fade, int maxVisible);

    /// The pills alive at `t`, oldest first.
    [[nodiscard]] std::vector<KeyPill> pills(double t) const;
    /// All texts that pills show, one after the other.
    [[nodiscard]] std::string texts() const;
    /// The symbol of a key that types no character, by virtual key code.
    [[nodiscard]] static std::optional<std::string_view> specialKey(std::int64_t keyCode);

private:
    struct Shortcut {
        double t = 0;
        std::string text;
    };
    std::vector<Shortcut> shortcuts_;  // log order
    bool inOrder_ = true;              // of time as well, as in every log this program writes
    double hold_ = 0, fade_ = 0;
    std::size_t maxVisible_ = 0;
};

}  // namespace lumenwhirl
