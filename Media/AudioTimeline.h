#pragma once

#include <cstddef>
#include <functional>
#include <memory>

namespace lumenwhirl {

/// Joins blocks of audio with times into one line of samples without holes: sample n is what was heard at n /
/// sampleRate. What comes before time 0 is cut; a late beginning and holes become silence, overlaps are cut. The
/// device's clock may run faster or slower than the clock of the times, by up to about 0.1 %: resampling follows
/// it, so slightly that it cannot be heard. Single times may be wrong by some milliseconds.
///
/// One thread at a time.
class AudioTimeline {
public:
    /// The next samples: `channels[c][0..frames)`, at most a few thousand at once. May throw.
    using Sink = std::function<void(const float* const* channels, std::size_t frames)>;

    /// Seconds by which a block must be early or late to be placed anew instead of followed.
    static constexpr double jump = 0.04;

    /// Throws std::bad_alloc; std::invalid_argument for rates outside 1...768,000 Hz and channels outside 1...64.
    AudioTimeline(int sampleRate, int channels, Sink sink);
    ~AudioTimeline();
    AudioTimeline(AudioTimeline&&) noexcept;
    AudioTimeline& operator=(AudioTimeline&&) noexcept;

    /// `time`: seconds, of the first sample, finite. `samples`: interleaved.
    void add(double time, const float* samples, std::size_t frames);
    /// Gives the few samples that resampling holds back. To be called once, last.
    void finish();

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace lumenwhirl
