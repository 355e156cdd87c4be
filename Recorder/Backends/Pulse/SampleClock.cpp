#include "Recorder/Backends/Pulse/SampleClock.h"

#include <algorithm>
#include <cmath>

namespace lumenwhirl {

bool SampleClock::measure(double time, double sample) {
    const double origin = time - sample / sampleRate_, error = origin - origin_;
    const bool isStray = count_ > 0 && std::abs(error) > largestError;
    strays_ = isStray ? strays_ + 1 : 0;
    if (isStray && strays_ < provenAfter) return false;
    if (isStray) count_ = strays_ = 0;
    ++count_;
    // The mean of the measurements at first, then an exponential one. By the first, it is the measurement.
    const double elapsed = std::max(0.0, time - measuredAt_);
    origin_ += error * std::max(1.0 / count_, elapsed / (elapsed + timeConstant));
    measuredAt_ = time;
    return true;
}

double SampleClock::timeOf(std::uint64_t sample) const {
    return origin_ + static_cast<double>(sample) / sampleRate_;
}

}  // namespace lumenwhirl
