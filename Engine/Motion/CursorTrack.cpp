#include "Engine/Motion/CursorTrack.h"

#include <cmath>
#include <cstddef>

namespace lumenwhirl::CursorTrack {

std::optional<CursorSample> nearestSample(std::span<const CursorSample> samples, double t) {
    if (samples.empty()) return std::nullopt;
    const CursorSample* nearest = &samples.front();
    for (const CursorSample& sample : samples)
        if (std::abs(sample.t - t) < std::abs(nearest->t - t)) nearest = &sample;
    return *nearest;
}

Point interpolateBetween(const CursorSample& low, const CursorSample& high, double t) {
    const double span = high.t - low.t;
    const double fraction = span > 0 ? (t - low.t) / span : 0;
    return {low.x + (high.x - low.x) * fraction, low.y + (high.y - low.y) * fraction};
}

Point interpolate(std::span<const CursorSample> samples, double t) {
    if (samples.empty()) return {};
    if (t <= samples.front().t) return {samples.front().x, samples.front().y};
    if (t >= samples.back().t) return {samples.back().x, samples.back().y};
    std::size_t low = 0, high = samples.size() - 1;
    if (high == 0) return {samples.front().x, samples.front().y};  // its time is NaN
    while (high - low > 1) {
        const std::size_t middle = (low + high) / 2;
        if (samples[middle].t <= t)
            low = middle;
        else
            high = middle;
    }
    return interpolateBetween(samples[low], samples[high], t);
}

}  // namespace lumenwhirl::CursorTrack
