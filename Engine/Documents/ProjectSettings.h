#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lumenwhirl {

// Times are seconds of source time. Values are stored as the user gave them; the code that uses one checks its
// range.

struct Assets {  // file names relative to the package
    std::string recording;
    std::string events;
    std::optional<std::string> mic, system, webcam;
    bool operator==(const Assets&) const = default;
};

struct TimeRange {
    double start = 0, end = 0;
    bool operator==(const TimeRange&) const = default;
};

struct SpeedRange {
    double start = 0, end = 0;
    double rate = 1;  // 2 plays twice as fast
    bool operator==(const SpeedRange&) const = default;
};

struct Timeline {
    double duration = 0;
    double trimStart = 0, trimEnd = 0;  // trimEnd 0: to the end
    std::vector<TimeRange> cuts;
    std::vector<SpeedRange> speedRanges;
    bool operator==(const Timeline&) const = default;
};

enum class CursorSmoothing { off, subtle, smooth, ultra };

struct CursorStyle {
    CursorSmoothing smoothing = CursorSmoothing::smooth;
    double size = 1.5;          // 1: 3 % of the frame's short side
    double autoHideIdle = 1.5;  // seconds of stillness before the cursor fades
    bool clickRipples = true;
    bool operator==(const CursorStyle&) const = default;
};

struct ZoomSegment {
    std::string id;
    double start = 0, end = 0;
    double level = 1;     // magnification
    bool manual = false;  // made by the user rather than generated
    bool operator==(const ZoomSegment&) const = default;
};

struct ZoomSettings {
    bool automatic = true;  // stored as "auto"
    double defaultLevel = 1.75;
    std::vector<ZoomSegment> segments;
    bool operator==(const ZoomSettings&) const = default;
};

struct Background {
    std::string type = "gradient";  // "solid", "gradient", "wallpaper" or "image"
    std::optional<std::string> preset, color, path;
    bool operator==(const Background&) const = default;
};

struct Style {  // lengths are pixels at a canvas short side of 1080
    Background background;
    double padding = 48;
    double cornerRadius = 16;
    std::string shadow = "subtle";
    std::optional<std::string> border;  // colour
    std::string aspect = "16:9";
    bool operator==(const Style&) const = default;
};

struct ExportSettings {
    std::string preset = "web";
    bool operator==(const ExportSettings&) const = default;
};

struct KeystrokeSettings {
    bool enabled = false;
    bool showAllKeys = false;
    bool operator==(const KeystrokeSettings&) const = default;
};

struct CaptionCue {
    double start = 0, end = 0;
    std::string text;
    bool operator==(const CaptionCue&) const = default;
};

struct CaptionStyle {
    std::string font = "system";  // "system", "rounded", "serif" or "mono"
    std::string weight = "bold";
    double size = 1;
    std::string textColor = "#FFFFFF";
    std::string backgroundColor = "#0000009E";
    bool uppercase = false;
    std::string position = "bottom";  // "top", "center" or "bottom"
    bool operator==(const CaptionStyle&) const = default;
};

struct CaptionSettings {
    bool enabled = false;
    std::vector<CaptionCue> cues;
    CaptionStyle style;
    bool operator==(const CaptionSettings&) const = default;
};

struct AudioInfo {
    bool embedded = false;  // the audio is in the recording's video file
    bool hasMic = false, hasSystem = false;
    bool operator==(const AudioInfo&) const = default;
};

/// Every editing decision about one recording, stored as project.json.
struct ProjectSettings {
    std::int64_t version = 1;
    Assets assets;
    Timeline timeline;
    CursorStyle cursor;
    ZoomSettings zoom;
    Style style;
    ExportSettings exportSettings;  // stored as "export"
    std::optional<KeystrokeSettings> keystrokes;
    std::optional<CaptionSettings> captions;
    std::optional<AudioInfo> audio;
    bool operator==(const ProjectSettings&) const = default;

    /// The document of a new recording of `duration` seconds.
    [[nodiscard]] static ProjectSettings makeDefault(double duration, bool hasMic, bool hasSystemAudio);
};

}  // namespace lumenwhirl
