#include "Engine/Motion/CameraModel.h"

#include "Engine/Motion/CursorTrack.h"
#include "Engine/Motion/Spring.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <utility>

namespace lumenwhirl {
namespace {

constexpr double leastZoom = 1.001;    // magnification up to here counts as none
constexpr double mergeDistance = 0.3;  // seconds between automatic segments that are joined

struct Ramps {
    double easeIn, easeOut;  // seconds
};

/// How far a segment that contains `t` has zoomed in: 0 not at all, 1 fully.
double zoomFraction(const ZoomSegment& segment, double t, Ramps ramps) {
    const double length = segment.end - segment.start;
    if (length <= 0) return 1;
    const double in = std::min(length / 2, ramps.easeIn);
    const double out = std::min(length / 2, ramps.easeOut);
    double fraction = 1;
    if (t < segment.start + in)
        fraction = in <= 0 ? 1 : (t - segment.start) / in;
    else if (t > segment.end - out)
        fraction = out <= 0 ? 1 : (segment.end - t) / out;
    return easeInOutCubic(fraction);
}

/// Whether any segment is zoomed in at a time, before the zoom bias. Must be asked for ascending times.
class ZoomSweep {
public:
    ZoomSweep(std::span<const ZoomSegment> sorted, Ramps ramps) : sorted_(sorted), ramps_(ramps) {}

    [[nodiscard]] bool isZoomedIn(double t) {
        for (; next_ < sorted_.size() && sorted_[next_].start <= t; ++next_)
            if (1 + (sorted_[next_].level - 1) > leastZoom) active_.push_back(&sorted_[next_]);
        // The segment that was zoomed in a step ago nearly always still is; it is kept at the back.
        for (std::size_t index = active_.size(); index-- > 0;) {
            const ZoomSegment& segment = *active_[index];
            if (!(t <= segment.end)) {
                active_[index] = active_.back();
                active_.pop_back();
            } else if (1 + (segment.level - 1) * zoomFraction(segment, t, ramps_) > leastZoom) {
                std::swap(active_[index], active_.back());
                return true;
            }
        }
        return false;
    }

private:
    std::span<const ZoomSegment> sorted_;
    Ramps ramps_;
    std::size_t next_ = 0;
    std::vector<const ZoomSegment*> active_;  // started, and not known to have ended
};

std::vector<ZoomSegment> sortedByStart(std::vector<ZoomSegment> segments) {
    std::stable_sort(segments.begin(), segments.end(), [](const ZoomSegment& left, const ZoomSegment& right) {
        return isEarlier(left.start, right.start);
    });
    return segments;
}

std::vector<CursorSample> buildCenterTrajectory(const std::vector<ZoomSegment>& sorted,
                                                const CursorRenderModel& cursor, Point frameCenter, Ramps ramps) {
    if (sorted.empty()) return {};
    double last = sorted.front().end;
    for (const ZoomSegment& segment : sorted) last = std::max(last, segment.end);
    ZoomSweep zoom(sorted, ramps);
    PathWalker drawnCursor(cursor.trajectory());
    return Spring::follow(sorted.front().start, last, frameCenter, CameraModel::followFrequency,
                          [&](double t) { return zoom.isZoomedIn(t) ? drawnCursor.at(t) : frameCenter; });
}

/// Keeps a view of `length / scale` around `center` within 0...length.
double clampedCenter(double center, double length, double scale) {
    const double half = length / scale / 2;
    return std::min(std::max(center, half), length - half);
}

/// The span around each cluster of clicks that are close in time and place. `downs` must be in order of time.
std::vector<TimeRange> clusterSpans(const std::vector<ClickEvent>& downs, const CameraModel::AutoZoom& options) {
    std::vector<TimeRange> spans;
    for (std::size_t first = 0; first < downs.size();) {
        std::size_t last = first;
        while (last + 1 < downs.size()) {
            const ClickEvent& from = downs[last];
            const ClickEvent& to = downs[last + 1];
            const bool joins =
                to.t - from.t <= options.timeGap && std::hypot(to.x - from.x, to.y - from.y) <= options.distGap;
            if (!joins) break;
            ++last;
        }
        spans.push_back(
            {std::max(0.0, downs[first].t - options.easeIn), downs[last].t + options.holdPad + options.easeOut});
        first = last + 1;
    }
    std::stable_sort(spans.begin(), spans.end(), [](const TimeRange& left, const TimeRange& right) {
        return isEarlier(left.start, right.start);
    });
    return spans;
}

}  // namespace

CameraState CameraState::identity(Size frame) {
    return {{frame.width / 2, frame.height / 2}, 1};
}

CameraModel::CameraModel(std::vector<ZoomSegment> segments, const CursorRenderModel& cursor, Size frame,
                         double easeIn, double easeOut, double zoomBias)
    : segments_(sortedByStart(std::move(segments))),
      segmentIndex_(std::span<const ZoomSegment>(segments_)),
      frame_(frame),
      centerTrajectory_(
          buildCenterTrajectory(segments_, cursor, CameraState::identity(frame).center, {easeIn, easeOut})),
      easeIn_(easeIn),
      easeOut_(easeOut),
      zoomBias_(zoomBias) {}

double CameraModel::scale(double t) const {
    const auto found = segmentIndex_.find(t);
    if (!found) return 1;
    const ZoomSegment& segment = segments_[*found];
    return 1 + (segment.level - 1) * zoomBias_ * zoomFraction(segment, t, {easeIn_, easeOut_});
}

CameraState CameraModel::state(double t) const {
    CameraState state = CameraState::identity(frame_);
    state.scale = scale(t);
    if (!(state.scale > leastZoom)) return state;
    if (!centerTrajectory_.empty()) state.center = CursorTrack::interpolate(centerTrajectory_, t);
    state.center.x = clampedCenter(state.center.x, frame_.width, state.scale);
    state.center.y = clampedCenter(state.center.y, frame_.height, state.scale);
    return state;
}

std::vector<ZoomSegment> CameraModel::autoSegments(const std::vector<ClickEvent>& clicks,
                                                   const AutoZoom& options) {
    std::vector<ClickEvent> downs;
    std::copy_if(clicks.begin(), clicks.end(), std::back_inserter(downs),
                 [](const ClickEvent& click) { return click.phase == ClickPhase::down; });
    std::stable_sort(downs.begin(), downs.end(),
                     [](const ClickEvent& left, const ClickEvent& right) { return isEarlier(left.t, right.t); });

    std::vector<ZoomSegment> segments;
    for (const TimeRange& span : clusterSpans(downs, options)) {
        if (!segments.empty() && span.start <= segments.back().end + mergeDistance)
            segments.back().end = std::max(segments.back().end, span.end);
        else
            segments.push_back(
                {"auto-" + std::to_string(segments.size()), span.start, span.end, options.defaultLevel, false});
    }
    return segments;
}

}  // namespace lumenwhirl
