#pragma once

#include "Pixels/Picture.h"

#include <cstdint>
#include <utility>

namespace lumenwhirl {

/// An exact fraction; as a time base, seconds per tick.
struct Rational {
    int numerator = 0, denominator = 1;
    [[nodiscard]] double value() const noexcept { return static_cast<double>(numerator) / denominator; }
    bool operator==(const Rational&) const = default;
};

/// A picture with its time in a video.
class VideoFrame : public Picture {
public:
    VideoFrame() = default;
    VideoFrame(Picture picture, std::int64_t pts, double time)
        : Picture(std::move(picture)), pts_(pts), time_(time) {}

    /// Presentation time in ticks of the reader's time base, and in seconds.
    [[nodiscard]] std::int64_t pts() const noexcept { return pts_; }
    [[nodiscard]] double time() const noexcept { return time_; }

private:
    std::int64_t pts_ = 0;
    double time_ = 0;
};

}  // namespace lumenwhirl
