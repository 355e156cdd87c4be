#pragma once

#include "Engine/Documents/ProjectSettings.h"

#include <optional>
#include <vector>

namespace lumenwhirl {

/// Maps output time (seconds from the start of the finished video) to source time (seconds from the
/// first recorded frame) and back, through trims, cuts and speed ranges. Times outside are clamped.
///
/// A value: built once, then only read, from any thread; its owner builds a new one after an edit.
class EditTimeline {
public:
    /// One run of source material at one rate.
    struct Segment {
        double outStart = 0, outEnd = 0;  // output seconds
        double srcStart = 0, srcEnd = 0;  // source seconds, srcStart < srcEnd
        double rate = 1;                  // >= minimumRate; 2 plays twice as fast
        bool operator==(const Segment&) const = default;
    };
    static constexpr double minimumRate = 0.05;

    /// Cannot fail: an edit that removes everything shows the whole recording instead of nothing.
    explicit EditTimeline(const Timeline& timeline);

    [[nodiscard]] double sourceTimeForOutput(double outputTime) const;
    [[nodiscard]] double rateForOutput(double outputTime) const;
    /// A source time inside a cut maps to the end of the output.
    [[nodiscard]] double outputTimeForSource(double sourceTime) const;
    /// Where playback must resume if `sourceTime` was removed; empty if it need not jump.
    [[nodiscard]] std::optional<double> skipTarget(double sourceTime) const;
    [[nodiscard]] double firstSourceStart() const;
    [[nodiscard]] double lastSourceEnd() const;
    [[nodiscard]] bool isIdentity() const;

    /// In output order, contiguous, never empty. Valid as long as this timeline.
    [[nodiscard]] const std::vector<Segment>& segments() const noexcept { return segments_; }
    [[nodiscard]] double outputDuration() const noexcept { return outputDuration_; }
    [[nodiscard]] double sourceDuration() const noexcept { return sourceDuration_; }

private:
    [[nodiscard]] double clampedOutput(double outputTime) const;
    /// The segment that contains a time within the output; the last one at the very end.
    [[nodiscard]] const Segment& segmentForOutput(double clampedTime) const;

    std::vector<Segment> segments_;
    double outputDuration_ = 0;
    double sourceDuration_ = 0;
};

}  // namespace lumenwhirl
