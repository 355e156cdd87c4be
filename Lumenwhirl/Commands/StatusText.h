#pragma once

#include "Recorder/RecordingController.h"

#include <cstdint>
#include <deque>
#include <string>
#include <utility>

// The texts of status lines. Nothing here knows a terminal or a clock.
namespace lumenwhirl {

/// What the terminal can show.
enum class Symbols { ascii, unicode };

/// The progress of a long task as one line of text: percentage, bar, frames, speed and time left.
class ProgressLine {
public:
    ProgressLine(std::string label, Symbols symbols) : label_(std::move(label)), symbols_(symbols) {}

    /// `now` in seconds of any clock that never goes back.
    void update(std::int64_t framesDone, std::int64_t totalFrames, double now);
    /// Averaged over the last few seconds; 0 while it is not known.
    [[nodiscard]] double framesPerSecond() const;
    /// At most `columns` wide; the least important parts are left out first.
    [[nodiscard]] std::string text(int columns) const;

private:
    struct Sample {
        double time = 0;
        std::int64_t framesDone = 0;
    };
    static constexpr double window = 4;           // seconds that the speed is averaged over
    static constexpr double sampleSpacing = 0.1;  // seconds, so that the window holds few samples at any speed
    [[nodiscard]] std::string bar(int columns) const;
    [[nodiscard]] double fraction() const;

    std::string label_;
    Symbols symbols_;
    std::deque<Sample> samples_;  // the newest is replaced until it is sampleSpacing after the one before
    std::int64_t framesDone_ = 0, totalFrames_ = 0;
};

/// A running recording as one line of text, at most `columns` wide: time, frames, dropped frames, size and audio
/// level. The least important parts are left out first.
[[nodiscard]] std::string recordingLine(const RecordingController::Progress& progress, bool hasAudio,
                                        Symbols symbols, int columns);

}  // namespace lumenwhirl
