#pragma once

#include "Engine/Geometry/DisplayInfo.h"

#include <cstdint>
#include <string>
#include <vector>

namespace lumenwhirl {

// Times are seconds since the first recorded frame; positions are captured pixels. Arrays are in order of arrival.

struct RecordingInfo {
    double startHostTime = 0;  // the host clock, seconds, at time 0
    std::int64_t fps = 60;
    DisplayInfo display{};
    bool operator==(const RecordingInfo&) const = default;
};

struct CursorSample {
    double t = 0, x = 0, y = 0;
    bool operator==(const CursorSample&) const = default;
};

enum class MouseButton { left, right, other };
enum class ClickPhase { down, up };

struct ClickEvent {
    double t = 0, x = 0, y = 0;
    MouseButton button = MouseButton::left;
    ClickPhase phase = ClickPhase::down;
    bool operator==(const ClickEvent&) const = default;
};

struct ScrollEvent {
    double t = 0, x = 0, y = 0;
    double dx = 0, dy = 0;  // whole lines
    bool operator==(const ScrollEvent&) const = default;
};

struct KeyEvent {
    double t = 0;
    std::int64_t keyCode = 0;            // virtual key code, see KeystrokeModel
    std::string chars;                   // what the key typed, may be empty
    std::vector<std::string> modifiers;  // of "cmd", "control", "option", "shift", "fn"
    bool isRepeat = false;
    bool operator==(const KeyEvent&) const = default;
};

/// Everything the user did during one recording, stored as events.json and never changed afterwards.
struct EventLog {
    std::int64_t version = 1;
    RecordingInfo recording{};
    std::vector<CursorSample> cursor{};
    std::vector<ClickEvent> clicks{};
    std::vector<ScrollEvent> scroll{};
    std::vector<KeyEvent> keys{};
    bool operator==(const EventLog&) const = default;
};

}  // namespace lumenwhirl
