#include "Demo/HumanPath.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace lumenwhirl::demo {
namespace {

constexpr double sampleRate = 120;

/// Fitts' law in Shannon's form; the constants are those of a practised hand on a mouse.
double reachTime(double distance, double width) {
    return 0.13 + 0.10 * std::log2(distance / width + 1);
}

/// Position along a minimum-jerk movement, 0...1 (Flash and Hogan, 1985).
double minimumJerk(double p) {
    return p * p * p * (10 - 15 * p + 6 * p * p);
}

Point mix(Point a, Point b, double p) {
    return {a.x + (b.x - a.x) * p, a.y + (b.y - a.y) * p};
}

struct Sweep {
    Point from, to;
    double start = 0, duration = 0;
    double bow = 0;     // how far the middle of the way lies beside the straight line
    double tremor = 0;  // amplitude
    double phase = 0;   // of the tremor
};

void addSweep(std::vector<CursorSample>& samples, const Sweep& sweep) {
    const double dx = sweep.to.x - sweep.from.x, dy = sweep.to.y - sweep.from.y;
    const double length = std::max(std::hypot(dx, dy), 1e-9);
    const Point side{-dy / length, dx / length};
    // A quadratic curve passes its middle at half the control point's offset.
    const Point middle = mix(sweep.from, sweep.to, 0.45);
    const Point control{middle.x + side.x * 2 * sweep.bow, middle.y + side.y * 2 * sweep.bow};
    const int count = std::max(1, static_cast<int>(std::ceil(sweep.duration * sampleRate)));
    for (int i = 1; i <= count; ++i) {
        const double linear = static_cast<double>(i) / count;
        const double p = minimumJerk(linear);
        const Point onCurve = mix(mix(sweep.from, control, p), mix(control, sweep.to, p), p);
        const double time = sweep.duration * linear;
        const double speed = 16 * linear * linear * (1 - linear) * (1 - linear);  // 1 at its peak, 0 at both ends
        // Physiological tremor lies at 8 to 12 Hz.
        const double shake = sweep.tremor * speed *
                             (std::sin(2 * std::numbers::pi * 9.1 * time + sweep.phase) +
                              0.5 * std::sin(2 * std::numbers::pi * 11.7 * time + 2.3 * sweep.phase));
        samples.push_back({sweep.start + time, onCurve.x + side.x * shake, onCurve.y + side.y * shake});
    }
}

}  // namespace

std::vector<CursorSample> humanPath(Point from, Point to, double targetWidth, double startTime, Random& random) {
    std::vector<CursorSample> samples;
    const double dx = to.x - from.x, dy = to.y - from.y;
    const double distance = std::hypot(dx, dy);
    if (distance < 0.5) return samples;

    Sweep sweep{from, to, startTime, reachTime(distance, targetWidth) * random.between(0.92, 1.06), 0, 0, 0};
    sweep.bow = std::min(distance * 0.07, 46.0) * random.between(0.35, 1) * (random.below(4) == 0 ? -1 : 1);
    sweep.tremor = random.between(0.25, 0.6);
    sweep.phase = random.between(0, 2 * std::numbers::pi);
    const bool overshoots = distance > 220;
    if (overshoots) {
        const double beyond = std::min(distance * random.between(0.012, 0.028), 16.0);
        const double aside = random.between(-0.5, 0.5) * beyond;
        sweep.to = {to.x + dx / distance * beyond - dy / distance * aside,
                    to.y + dy / distance * beyond + dx / distance * aside};
        sweep.duration *= 0.86;
    }
    addSweep(samples, sweep);
    if (overshoots) {
        const double noticed = random.between(0.03, 0.06);
        addSweep(samples,
                 {sweep.to, to, samples.back().t + noticed, random.between(0.12, 0.17), 0, 0.1, sweep.phase});
    }
    samples.back().x = to.x;
    samples.back().y = to.y;
    return samples;
}

}  // namespace lumenwhirl::demo
