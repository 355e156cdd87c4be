#include "Exporter/TimeStretcher.h"

#include <rubberband/RubberBandStretcher.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace lumenwhirl {
namespace {

using RubberBand::RubberBandStretcher;

// The streaming mode keeps memory flat; the finer engine keeps speech natural.
constexpr RubberBandStretcher::Options options =
    RubberBandStretcher::OptionProcessRealTime | RubberBandStretcher::OptionEngineFiner |
    RubberBandStretcher::OptionThreadingNever | RubberBandStretcher::OptionChannelsTogether;
// The sample rates that the library is made for; outside, it warns on standard error. The rate only decides how
// long its windows are in seconds.
constexpr int lowestRate = 8000, highestRate = 192'000;
constexpr std::size_t mostInput = 4096;  // samples per block
// Output samples per input block. The library (3.1) has room for eight input blocks and silently drops what does
// not fit.
constexpr double mostOutput = 4 * mostInput;

template <class Pointer, class Buffer>
std::vector<Pointer> pointersInto(Buffer& buffer, std::size_t offset) {
    std::vector<Pointer> pointers;
    for (auto& channel : buffer.channels) pointers.push_back(channel.data() + offset);
    return pointers;
}

}  // namespace

struct TimeStretcher::State {
    RubberBandStretcher stretcher;
    std::size_t channels;
    std::size_t blockFrames;
    std::size_t toDrop;  // output before the first input sample that counts

    State(int sampleRate, int channelCount, double rate, std::size_t lead)
        : stretcher(static_cast<std::size_t>(std::clamp(sampleRate, lowestRate, highestRate)),
                    static_cast<std::size_t>(channelCount), options, 1 / rate),
          channels(static_cast<std::size_t>(channelCount)),
          blockFrames(std::min(mostInput, static_cast<std::size_t>(mostOutput * rate))) {
        stretcher.setMaxProcessSize(mostInput);
        toDrop =
            stretcher.getStartDelay() + static_cast<std::size_t>(std::lround(static_cast<double>(lead) / rate));
        AudioBuffer silence, nothing;
        silence.channels.assign(channels, std::vector<float>(stretcher.getPreferredStartPad()));
        process(silence, false, nothing);
    }

    void process(const AudioBuffer& input, bool isLast, AudioBuffer& output) {
        output.channels.assign(channels, {});
        std::size_t done = 0;
        do {
            const std::size_t count = std::min(blockFrames, input.frames() - done);
            const auto block = pointersInto<const float*>(input, done);
            stretcher.process(block.data(), count, isLast && done + count == input.frames());
            done += count;
            retrieve(output);
        } while (done < input.frames());
    }

    /// Appends what is ready.
    void retrieve(AudioBuffer& output) {
        const int available = stretcher.available();  // negative when all has been taken
        if (available <= 0) return;
        const std::size_t known = output.frames(), count = static_cast<std::size_t>(available);
        for (auto& channel : output.channels) channel.resize(known + count);
        const auto pointers = pointersInto<float*>(output, known);
        const std::size_t got = stretcher.retrieve(pointers.data(), count);
        const std::size_t dropped = std::min(got, toDrop);
        toDrop -= dropped;
        for (auto& channel : output.channels) {
            const auto first = channel.begin() + static_cast<std::ptrdiff_t>(known);
            channel.resize(known + got);
            channel.erase(first, first + static_cast<std::ptrdiff_t>(dropped));
        }
    }
};

TimeStretcher::TimeStretcher(int sampleRate, int channels, double rate, std::size_t lead)
    : state_(std::make_unique<State>(sampleRate, channels, rate, lead)) {}
TimeStretcher::~TimeStretcher() = default;

void TimeStretcher::process(const AudioBuffer& input, bool isLast, AudioBuffer& output) {
    state_->process(input, isLast, output);
}

}  // namespace lumenwhirl
