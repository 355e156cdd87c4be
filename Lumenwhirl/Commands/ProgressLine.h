#pragma once

#include <cstdint>
#include <deque>
#include <string>

namespace lumenwhirl {

/// How far a long piece of work is, as one line of text: share, bar, frames, speed and time left. Knows no
/// terminal and no clock.
class ProgressLine {
public:
    enum class Symbols { ascii, unicode };
    ProgressLine(std::string label, Symbols symbols) : label_(std::move(label)), symbols_(symbols) {}

    /// `now` in seconds of any clock that does not go back.
    void update(std::int64_t framesDone, std::int64_t totalFrames, double now);
    /// Over the last few seconds; 0 while nothing is known.
    [[nodiscard]] double framesPerSecond() const;
    /// At most `columns` wide; what matters least is left out first.
    [[nodiscard]] std::string text(int columns) const;

private:
    struct Sample {
        double time = 0;
        std::int64_t framesDone = 0;
    };
    static constexpr double window = 4;           // seconds the speed is averaged over
    static constexpr double sampleSpacing = 0.1;  // seconds, so that the window holds few samples at any speed
    [[nodiscard]] std::string bar(int columns) const;
    [[nodiscard]] double fraction() const;

    std::string label_;
    Symbols symbols_;
    std::deque<Sample> samples_;  // the newest may be replaced until it is sampleSpacing after the one before
    std::int64_t framesDone_ = 0, totalFrames_ = 0;
};

/// "0:07", "12:34" or "1:02:03".
[[nodiscard]] std::string durationText(double seconds);
/// "980 bytes", "1.4 MB": decimal units, as disks are sold in.
[[nodiscard]] std::string sizeText(std::uintmax_t bytes);

}  // namespace lumenwhirl
