#pragma once

#include "Engine/Timeline/EditTimeline.h"
#include "Media/VideoReader.h"

#include <cstdint>
#include <optional>

namespace lumenwhirl {

/// The times at which an unedited recording shows one of its frames: the frame's own, and where it stays for
/// longer than two frames, others at the frame rate, as what is drawn over it may change.
class Showings {
public:
    /// `until`: when the next frame comes, seconds. `recorded`: the time base of `frame`.
    Showings(const VideoFrame& frame, double until, int fps, Rational recorded);

    [[nodiscard]] std::int64_t count() const noexcept { return count_; }  // at least 1
    /// In ticks of timeBase(), ascending, and in seconds.
    [[nodiscard]] std::int64_t pts(std::int64_t index) const noexcept;
    [[nodiscard]] double time(std::int64_t index) const noexcept;
    /// The time of the newest one at or before `time`, or the first.
    [[nodiscard]] double newestAt(double time) const noexcept;
    /// Has a tick for every time of the recorded one, and at least one a frame.
    [[nodiscard]] static Rational timeBase(Rational recorded, int fps) noexcept;

private:
    Rational timeBase_;
    std::int64_t first_;
    double ticksPerFrame_;
    std::int64_t count_ = 1;
};

/// Which recorded frame each output frame shows, in order. With the recording's own times, each recorded frame is
/// shown at all its Showings, which requires an edit that changes nothing; on a grid, each output frame shows the
/// newest recorded frame at or before its source time.
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
        double end = 0;         // of the output frame, output seconds, unless another comes before
        bool isAgain = false;   // not needed where nothing drawn has changed since the item before
    };

    /// The source time of frame `index` of the grid: a hair later than its exact time, so that rounding does not
    /// decide on which side of a recorded frame's time, or of a cut, it falls.
    [[nodiscard]] static double gridSourceTime(const EditTimeline& timeline, std::int64_t index, int fps);

    /// When an unedited recording's frame gives way to the next one, if there is one, seconds.
    [[nodiscard]] static double endOf(const VideoFrame& frame, const std::optional<VideoFrame>& following,
                                      const VideoInfo& info, int fps);

    /// `reader` must be at its start; it and `timeline` must outlive this. `fps` is the grid's.
    SourceFrames(VideoReader& reader, const EditTimeline& timeline, int fps, Times times);

    /// As many as the timeline asks for; the frames of an unedited recording may be a few more or fewer.
    [[nodiscard]] std::int64_t totalFrames() const noexcept { return totalFrames_; }
    [[nodiscard]] Rational timeBase() const noexcept;
    [[nodiscard]] int fps() const noexcept { return fps_; }
    /// Empty at the end. Throws MediaError.
    [[nodiscard]] std::optional<Item> next();

private:
    void begin();
    [[nodiscard]] std::optional<Item> nextRecorded();

    VideoReader& reader_;
    const EditTimeline& timeline_;
    int fps_;
    Times times_;
    std::int64_t totalFrames_;
    std::int64_t index_ = 0;  // of the next frame of the grid, or of the next showing of the current frame
    bool hasBegun_ = false;
    std::optional<VideoFrame> current_, following_;
};

}  // namespace lumenwhirl
