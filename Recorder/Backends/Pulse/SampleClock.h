#pragma once

#include <cstdint>

namespace lumenwhirl {

/// Tells when each sample of a stream was heard, by counting samples from measurements that wobble: on some
/// servers by 45 ms. They are averaged over 2 s, so a device whose clock is off by 200 parts in a million is
/// followed 0.4 ms behind. Seconds of the host clock.
class SampleClock {
public:
    explicit SampleClock(int sampleRate) : sampleRate_(sampleRate) {}

    /// Sample number `sample`, which need not be a whole one, was found to be heard at `time`. False when that is
    /// in doubt: the next measurement should be made at once.
    bool measure(double time, double sample);
    /// There has been a measurement.
    [[nodiscard]] bool isSet() const noexcept { return count_ > 0; }
    [[nodiscard]] double timeOf(std::uint64_t sample) const;

private:
    static constexpr double timeConstant = 2.0;
    // A measurement that is off by more is no wobble: sound was lost, or the thread was held up while measuring.
    // The latter passes, so only the third in a row counts.
    static constexpr double largestError = 0.05;
    static constexpr int provenAfter = 3;

    int sampleRate_;
    double origin_ = 0;  // when sample 0 was heard, or would have been
    double measuredAt_ = 0;
    int count_ = 0;   // measurements that origin_ rests on
    int strays_ = 0;  // in a row
};

}  // namespace lumenwhirl
