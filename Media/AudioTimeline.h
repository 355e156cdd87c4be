#pragma once

#include <cstddef>
#include <functional>
#include <memory>

namespace lumenwhirl {

/// Makes one line of samples, without holes, of blocks of sound with times: sample n is what was heard at n /
/// sampleRate. What comes before time 0 is cut; a late beginning and holes become silence, overlaps are cut. The
/// device's clock may run faster or slower than that of the times, by up to some 0.1 %: that is followed by
/// resampling, so slightly that it is not heard. Single times may be wrong by some milliseconds.
///
/// One thread at a time.
class AudioTimeline {
public:
    /// The next samples: `channels[c][0..frames)`, at most a few thousand at once. May throw.
    using Sink = std::function<void(const float* const* channels, std::size_t frames)>;

    /// Seconds by which a block must be early or late to be laid anew instead of followed.
    static constexpr double jump = 0.04;

    /// Throws std::bad_alloc; for rates that are none (1 to 768,000 Hz are) or more than 64 channels
    /// std::invalid_argument.
    AudioTimeline(int sampleRate, int channels, Sink sink);
    ~AudioTimeline();
    AudioTimeline(AudioTimeline&&) noexcept;
    AudioTimeline& operator=(AudioTimeline&&) noexcept;

    /// `time`: seconds, of the first sample, finite. `samples`: interleaved.
    void add(double time, const float* samples, std::size_t frames);
    /// The few samples that resampling has kept back. To be called once, last.
    void finish();

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace lumenwhirl
