#pragma once

#include "Media/AudioReader.h"

#include <cstddef>
#include <memory>

namespace lumenwhirl {

/// Plays sound faster or slower without changing its pitch, in one pass, piece by piece. What comes out is aligned
/// with what went in: input sample n is heard at output sample (n - lead) / rate. One thread at a time.
class TimeStretcher {
public:
    /// `rate`: input seconds an output second, 0.05...128. `lead`: how many input samples come first that are only
    /// for the stretcher to hear; their output is left out.
    TimeStretcher(int sampleRate, int channels, double rate, std::size_t lead);
    ~TimeStretcher();
    TimeStretcher(const TimeStretcher&) = delete;
    TimeStretcher& operator=(const TimeStretcher&) = delete;

    /// Replaces `output` with what is ready, perhaps nothing; after the last input with all there is.
    void process(const AudioBuffer& input, bool isLast, AudioBuffer& output);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace lumenwhirl
