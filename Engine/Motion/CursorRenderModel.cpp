#include "Engine/Motion/CursorRenderModel.h"

#include "Engine/Motion/CursorTrack.h"
#include "Engine/Motion/Spring.h"
#include "Engine/Timeline/TimeOrder.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <span>

namespace lumenwhirl {
namespace {

constexpr double shortestDuration = 0.0001;  // seconds; shorter ones are raised to this, so that division is safe

/// Natural frequency of the spring in rad/s. A lower one lags further behind and smooths more jitter.
double frequencyOf(CursorSmoothing smoothing) {
    switch (smoothing) {
        case CursorSmoothing::subtle:
            return 34;
        case CursorSmoothing::ultra:
            return 9;
        case CursorSmoothing::smooth:
        case CursorSmoothing::off:
            break;
    }
    return 18;
}

std::vector<CursorSample> buildTrajectory(const std::vector<CursorSample>& samples, CursorSmoothing smoothing) {
    if (samples.size() < 2 || smoothing == CursorSmoothing::off) return samples;
    const CursorSample& first = samples.front();
    const CursorSample& last = samples.back();
    if (first.t > last.t) return {};
    if (!Spring::isSimulatable(first.t, last.t)) return samples;
    PathWalker recorded(samples);
    return Spring::follow(first.t, last.t, {first.x, first.y}, frequencyOf(smoothing),
                          [&](double t) { return recorded.at(t); });
}

/// The last move at or before `t`. `times` must not be empty, and `t` not before the first of them.
double lastMoveTime(const std::vector<double>& times, double t) {
    if (t >= times.back()) return times.back();
    if (times.size() <= 2) return times.front();
    std::size_t low = 0, high = times.size() - 1;
    while (high - low > 1) {
        const std::size_t middle = (low + high) / 2;
        if (times[middle] <= t)
            low = middle;
        else
            high = middle;
    }
    return times[low];
}

}  // namespace

CursorRenderModel::Path::Path(const EventLog& events, CursorSmoothing pathSmoothing)
    : smoothing(pathSmoothing), trajectory(buildTrajectory(events.cursor, smoothing)) {
    moveTimes.reserve(events.cursor.size());
    for (const CursorSample& sample : events.cursor) moveTimes.push_back(sample.t);
    std::copy_if(events.clicks.begin(), events.clicks.end(), std::back_inserter(downClicks),
                 [](const ClickEvent& click) { return click.phase == ClickPhase::down; });
    clicksInOrder = isInTimeOrder(std::span<const ClickEvent>(downClicks));
}

CursorRenderModel::CursorRenderModel(const EventLog& events, const CursorStyle& cursor, double fade,
                                     double rippleDuration)
    : path_(std::make_shared<const Path>(events, cursor.smoothing)),
      idleHide_(cursor.autoHideIdle),
      fade_(std::max(shortestDuration, fade)),
      rippleDuration_(std::max(shortestDuration, rippleDuration)) {}

CursorRenderModel CursorRenderModel::with(const EventLog& events, const CursorStyle& cursor) const {
    CursorRenderModel model = *this;
    model.idleHide_ = cursor.autoHideIdle;
    if (cursor.smoothing != path_->smoothing) model.path_ = std::make_shared<const Path>(events, cursor.smoothing);
    return model;
}

CursorState CursorRenderModel::state(double t, bool clickRipples) const {
    return {position(t), opacity(t), clickRipples ? ripples(t) : std::vector<Ripple>()};
}

Point CursorRenderModel::position(double t) const {
    return CursorTrack::interpolate(path_->trajectory, t);
}

double CursorRenderModel::opacity(double t) const {
    if (path_->moveTimes.empty() || t < path_->moveTimes.front()) return 0;
    const double idle = t - lastMoveTime(path_->moveTimes, t);
    return idle <= idleHide_ ? 1 : std::max(0.0, 1 - (idle - idleHide_) / fade_);
}

std::vector<Ripple> CursorRenderModel::ripples(double t) const {
    const std::span<const ClickEvent> clicks(path_->downClicks);
    const IndexRange candidates =
        path_->clicksInOrder ? aliveRange(clicks, t, rippleDuration_) : IndexRange{0, clicks.size()};
    std::vector<Ripple> alive;
    for (std::size_t index = candidates.first; index < candidates.last; ++index) {
        const ClickEvent& click = clicks[index];
        const double age = t - click.t;
        if (age >= 0 && age <= rippleDuration_) alive.push_back({{click.x, click.y}, age / rippleDuration_});
    }
    return alive;
}

}  // namespace lumenwhirl
