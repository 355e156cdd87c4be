#pragma once

#include "Media/AudioReader.h"

#include <cstddef>
#include <memory>

namespace lumenwhirl {

/// Changes the speed of audio without changing its pitch, in one pass, block by block. The output is aligned with
/// the input: input sample n is heard at output sample (n - lead) / rate. One thread at a time.
class TimeStretcher {
public:
    /// `rate`: input seconds per output second, 0.05...128. `lead`: the number of input samples at the start that
    /// are only context; their output is dropped.
    TimeStretcher(int sampleRate, int channels, double rate, std::size_t lead);
    ~TimeStretcher();
    TimeStretcher(const TimeStretcher&) = delete;
    TimeStretcher& operator=(const TimeStretcher&) = delete;

    /// Replaces `output` with what is ready, perhaps nothing; after the last input, with all that is left.
    void process(const AudioBuffer& input, bool isLast, AudioBuffer& output);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace lumenwhirl
