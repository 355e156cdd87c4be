#pragma once

#include "Compositor/RenderStyle.h"
#include "Engine/Geometry/Shapes.h"
#include "Engine/Motion/CameraModel.h"
#include "Pixels/Picture.h"
#include "Pixels/PlaneResampler.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace lumenwhirl {

/// The part of the recorded frame that the camera shows: recorded pixel (x, y) is drawn at
/// ((x - left) * scale, (y - top) * scale) of a view as large as the frame.
struct CameraView {
    double left = 0, top = 0, scale = 1;
    bool operator==(const CameraView&) const = default;
};

/// `frame`: the recorded frame's size in pixels. The view never leaves the frame.
[[nodiscard]] inline CameraView viewOf(const std::optional<CameraState>& camera, Size frame) {
    if (!camera || !(camera->scale > 1.001)) return {};
    const double width = frame.width / camera->scale, height = frame.height / camera->scale;
    return {std::clamp(camera->center.x - width / 2, 0.0, frame.width - width),
            std::clamp(camera->center.y - height / 2, 0.0, frame.height - height), camera->scale};
}

/// All of a finished frame that does not change from frame to frame: where the video lies, what surrounds it, and
/// how its edge and border blend in. Built once per style; then only read.
template <class Sample>
class StyledCanvas {
public:
    /// `canvas` and `content` in pixels, even.
    StyledCanvas(const RenderStyle& style, Size canvas, Size content);
    /// The content alone, edge to edge, at its own size.
    [[nodiscard]] static StyledCanvas unstyled(Size content);

    [[nodiscard]] int width() const noexcept { return base_.width(); }
    [[nodiscard]] int height() const noexcept { return base_.height(); }
    [[nodiscard]] Size content() const noexcept { return content_; }
    /// Where the recorded frame lies, in canvas pixels, y down; not rounded to whole pixels.
    [[nodiscard]] const Rect& videoRect() const noexcept { return videoRect_; }
    /// Recorded pixels to canvas pixels.
    [[nodiscard]] double contentScale() const noexcept { return contentScale_; }
    /// Fills a picture of the canvas's size with what surrounds the video: background, shadow, and what of the
    /// border lies outside the video.
    void copyBase(const Planes<Sample>& out) const;

    /// Rows of a plane that hold video, and the columns of each that do, wholly or partly; some rows may be empty.
    [[nodiscard]] Span rows(int plane) const noexcept { return maskOf(plane).rows; }
    [[nodiscard]] Span columns(int plane, int row) const noexcept { return maskOf(plane).spans[std::size_t(row)]; }
    /// The union of all rows' columns.
    [[nodiscard]] Span columns(int plane) const noexcept { return maskOf(plane).columns; }
    /// Blends the edge of a row whose columns(plane, row) have all been drawn as video into the base, and draws
    /// the border over it.
    void finishRow(int plane, int row, Sample* out) const;

private:
    /// Samples to be mixed with another: `coverage` of 255 of what is drawn last is seen.
    struct Mixtures {
        struct Mixture {
            int column = 0;
            Sample with = 0;
            std::uint8_t coverage = 0;
        };
        std::vector<Mixture> samples;         // by rows
        std::vector<std::size_t> firstOfRow;  // in samples; and one past the last row's
        [[nodiscard]] std::span<const Mixture> row(int y) const noexcept {
            const auto i = static_cast<std::size_t>(y);
            return {samples.data() + firstOfRow[i], samples.data() + firstOfRow[i + 1]};
        }
    };
    /// Where a plane's samples are covered wholly, partly or not.
    struct Mask {
        Span rows, columns;
        std::vector<Span> spans;  // per row, coverage above 0
        // With the base, copied here because the base itself lies far away in memory, and with the border.
        Mixtures edges, borders;
    };

    [[nodiscard]] const Mask& maskOf(int plane) const noexcept { return masks_[std::size_t(plane)]; }
    void place(double paddingPx, Size canvas);
    void paintBase(const RenderStyle& style, const std::vector<std::uint8_t>& fill);
    void buildMasks(const RenderStyle& style, const std::vector<std::uint8_t>& fill, double radius);

    Size content_;
    Rect videoRect_;
    double contentScale_ = 1;
    Picture base_;
    std::array<Mask, 3> masks_;
};

}  // namespace lumenwhirl
