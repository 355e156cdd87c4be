#pragma once

#include "Engine/Documents/EventLog.h"
#include "Engine/Geometry/Shapes.h"

#include <cstddef>
#include <vector>

namespace lumenwhirl::Spring {

constexpr double stepsPerSecond = 120;

/// Longest simulated span, a week: 72 million steps, 1.7 GB. Only damaged documents have longer ones.
constexpr double maximumSpan = 7.0 * 24 * 3600;

[[nodiscard]] inline bool isSimulatable(double first, double last) {
    return last - first <= maximumSpan;
}

/// The path of a critically damped spring (stiffness ω², damping 2ω for ω = `frequency` in rad/s) that starts at
/// rest at `start` and is pulled to `target(t)` from time `first` to `last`, one sample per step. Semi-implicit
/// Euler, the time summed up step by step: the order of the arithmetic is part of the result. Empty when `first`
/// is after `last` or the span cannot be simulated.
template <class Target>
[[nodiscard]] std::vector<CursorSample> follow(double first, double last, Point start, double frequency,
                                               Target&& target) {
    std::vector<CursorSample> path;
    if (!(first <= last) || !isSimulatable(first, last)) return path;
    path.reserve(static_cast<std::size_t>((last - first) * stepsPerSecond) + 2);

    constexpr double dt = 1 / stepsPerSecond;
    const double stiffness = frequency * frequency;
    const double damping = 2 * frequency;
    Point position = start, velocity;
    for (double t = first; t <= last;) {
        const Point pulledTo = target(t);
        velocity.x = velocity.x + ((pulledTo.x - position.x) * stiffness - velocity.x * damping) * dt;
        velocity.y = velocity.y + ((pulledTo.y - position.y) * stiffness - velocity.y * damping) * dt;
        position.x = position.x + velocity.x * dt;
        position.y = position.y + velocity.y * dt;
        path.push_back({t, position.x, position.y});
        const double next = t + dt;
        if (!(next > t)) break;  // so far from 0 that a step is lost in rounding
        t = next;
    }
    return path;
}

}  // namespace lumenwhirl::Spring
