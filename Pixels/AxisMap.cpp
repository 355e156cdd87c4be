#include "Pixels/AxisMap.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace lumenwhirl {
namespace {

double triangle(double x) {
    return std::max(1 - std::abs(x), 0.0);
}

double catmullRom(double x) {
    x = std::abs(x);
    if (x < 1) return 1 + x * x * (1.5 * x - 2.5);
    if (x < 2) return 2 + x * (-4 + x * (2.5 - 0.5 * x));
    return 0;
}

}  // namespace

bool AxisMap::build(const Geometry& geometry) {
    if (geometry == geometry_ && taps_ > 0) return false;
    geometry_ = geometry;
    const double stretch = std::max(geometry.step, 1.0);
    const bool copies = geometry.step == 1 && geometry.origin == std::floor(geometry.origin);
    const bool cubic = geometry.filter == Filter::sharp && !copies;
    const double radius = (cubic ? 2 : 1) * stretch;
    const int span = static_cast<int>(std::ceil(2 * radius));  // integers in an open interval of that length
    const int last = geometry.sourceSize - 1;
    taps_ = std::min(span, geometry.sourceSize);

    const auto outputs = static_cast<std::size_t>(std::max(count(), 0));
    first_.resize(outputs);
    weights_.assign(outputs * static_cast<std::size_t>(taps_), 0);
    std::vector<double> exact(static_cast<std::size_t>(taps_));
    for (int i = 0; i < count(); ++i) {
        const double position = geometry.step * (geometry.begin + i) + geometry.origin;
        const double low = std::clamp(std::floor(position - radius) + 1, -1e9, 1e9);
        const int start = std::clamp(static_cast<int>(low), 0, geometry.sourceSize - taps_);
        std::fill(exact.begin(), exact.end(), 0.0);
        double sum = 0;
        for (int k = 0; k < span; ++k) {
            const double sample = low + k;
            const double x = (sample - position) / stretch;
            const double weight = cubic ? catmullRom(x) : triangle(x);
            sum += weight;
            const double nearest = std::clamp(sample, 0.0, static_cast<double>(last));
            if (geometry.beyond == Beyond::nothing && nearest != sample) continue;
            // Far outside the source, the taps include the edge sample, but not all of its neighbours.
            exact[static_cast<std::size_t>(std::clamp(static_cast<int>(nearest) - start, 0, taps_ - 1))] += weight;
        }
        std::int16_t* weights = weights_.data() + static_cast<std::size_t>(i) * static_cast<std::size_t>(taps_);
        int total = 0, largest = 0;
        double wanted = 0;
        for (int k = 0; k < taps_; ++k) {
            const double share = sum != 0 ? exact[static_cast<std::size_t>(k)] / sum : (k == 0 ? 1 : 0);
            weights[k] = static_cast<std::int16_t>(std::lround(share * (1 << weightBits)));
            wanted += share * (1 << weightBits);
            total += weights[k];
            if (weights[k] > weights[largest]) largest = k;
        }
        // A flat area must keep its value exactly, so the rounding error goes where it shows least.
        weights[largest] = static_cast<std::int16_t>(weights[largest] + std::lround(wanted) - total);
        first_[static_cast<std::size_t>(i)] = start;
    }
    return true;
}

}  // namespace lumenwhirl
