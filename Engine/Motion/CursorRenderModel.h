#pragma once

#include "Engine/Documents/EventLog.h"
#include "Engine/Documents/ProjectSettings.h"
#include "Engine/Motion/CursorState.h"

#include <memory>
#include <vector>

namespace lumenwhirl {

/// The drawn cursor of a recording: a path smoothed by a critically damped spring, hidden when idle, with
/// ripples on clicks. Times are source seconds. Built once, then only read, from any thread.
class CursorRenderModel {
public:
    static constexpr double simulationRate = 120;  // steps per second
    static constexpr double defaultRippleDuration = 0.6;

    /// `fade` and `rippleDuration` in seconds, raised to 0.0001.
    CursorRenderModel(const EventLog& events, const CursorStyle& cursor, double fade, double rippleDuration);

    /// The same recording's cursor in another style. Shares the path where its smoothing stays, so that it costs
    /// next to nothing.
    [[nodiscard]] CursorRenderModel with(const EventLog& events, const CursorStyle& cursor) const;

    [[nodiscard]] CursorState state(double t, bool clickRipples) const;
    [[nodiscard]] Point position(double t) const;
    [[nodiscard]] double opacity(double t) const;
    [[nodiscard]] std::vector<Ripple> ripples(double t) const;

    [[nodiscard]] const std::vector<CursorSample>& trajectory() const noexcept { return path_->trajectory; }

private:
    /// All that comes from the log.
    struct Path {
        Path(const EventLog& events, CursorSmoothing smoothing);
        CursorSmoothing smoothing;
        std::vector<CursorSample> trajectory;
        std::vector<double> moveTimes;
        std::vector<ClickEvent> downClicks;
        bool clicksInOrder = true;  // ascending, so they can be searched, as in every log this program writes
    };
    std::shared_ptr<const Path> path_;
    double idleHide_ = 0;
    double fade_ = 0;
    double rippleDuration_ = 0;
};

}  // namespace lumenwhirl
