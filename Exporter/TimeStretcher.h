#pragma once

#include "Media/AudioReader.h"

#include <cstddef>
#include <memory>

namespace lumenwhirl {

/// Plays sound faster or slower without changing its pitch, in one pass: feed it, take what is ready. What comes
/// out is aligned with what went in: input sample n is heard at output sample n / rate. One thread at a time.
class TimeStretcher {
public:
    /// `rate`: input seconds an output second, > 0.
    TimeStretcher(int sampleRate, int channels, double rate);
    ~TimeStretcher();
    TimeStretcher(const TimeStretcher&) = delete;
    TimeStretcher& operator=(const TimeStretcher&) = delete;

    /// `isLast` ends the input; then everything can be taken.
    void feed(const AudioBuffer& input, bool isLast);
    /// Replaces `output` with what is ready, perhaps nothing.
    void take(AudioBuffer& output);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace lumenwhirl
