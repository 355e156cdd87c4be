#pragma once

#include "Engine/Timeline/EditTimeline.h"
#include "Media/VideoReader.h"

#include <cstdint>
#include <optional>

namespace lumenwhirl {

/// Which recorded frame each output frame shows, in order. With the recording's own times, each recorded frame is
/// one output frame, which requires an edit that changes nothing; on a grid, each output frame shows the newest
/// recorded frame at or before its source time.
class SourceFrames {
public:
    enum class Times { recorded, grid };
    /// Recorded times wherever possible.
    [[nodiscard]] static Times timesOf(const EditTimeline& timeline) {
        return timeline.isIdentity() ? Times::recorded : Times::grid;
    }
    struct Item {
        VideoFrame frame;
        double sourceTime = 0;  // what the models are asked for, seconds
        std::int64_t pts = 0;   // of the output frame, in ticks of timeBase()
    };

    /// The source time of frame `index` of the grid: a hair later than its exact time, so that rounding does not
    /// decide on which side of a recorded frame's time, or of a cut, it falls.
    [[nodiscard]] static double gridSourceTime(const EditTimeline& timeline, std::int64_t index, int fps);

    /// `reader` must be at its start; it and `timeline` must outlive this. `fps` is the grid's.
    SourceFrames(VideoReader& reader, const EditTimeline& timeline, int fps, Times times);

    /// As many as the timeline asks for; the frames of an unedited recording may be a few more or fewer.
    [[nodiscard]] std::int64_t totalFrames() const noexcept { return totalFrames_; }
    [[nodiscard]] Rational timeBase() const noexcept;
    [[nodiscard]] int fps() const noexcept { return fps_; }
    /// Empty at the end. Throws MediaError.
    [[nodiscard]] std::optional<Item> next();

private:
    VideoReader& reader_;
    const EditTimeline& timeline_;
    int fps_;
    Times times_;
    std::int64_t totalFrames_;
    std::int64_t index_ = 0;
    std::optional<VideoFrame> current_, following_;
};

}  // namespace lumenwhirl
