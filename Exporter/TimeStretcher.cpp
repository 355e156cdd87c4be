#include "Exporter/TimeStretcher.h"

#include <rubberband/RubberBandStretcher.h>

#include <algorithm>
#include <vector>

namespace lumenwhirl {
namespace {

using RubberBand::RubberBandStretcher;

// The streaming mode keeps memory flat; the finer engine keeps speech natural.
constexpr RubberBandStretcher::Options options =
    RubberBandStretcher::OptionProcessRealTime | RubberBandStretcher::OptionEngineFiner |
    RubberBandStretcher::OptionThreadingNever | RubberBandStretcher::OptionChannelsTogether;
constexpr std::size_t blockFrames = 4096;

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
    std::size_t toDrop;  // output before the first input sample

    State(int sampleRate, int channelCount, double rate)
        : stretcher(static_cast<std::size_t>(sampleRate), static_cast<std::size_t>(channelCount), options,
                    1 / rate),
          channels(static_cast<std::size_t>(channelCount)) {
        stretcher.setMaxProcessSize(blockFrames);
        toDrop = stretcher.getStartDelay();
        AudioBuffer silence;
        silence.channels.assign(channels, std::vector<float>(stretcher.getPreferredStartPad()));
        process(silence, false);
    }

    void process(const AudioBuffer& input, bool isLast) {
        std::size_t done = 0;
        do {
            const std::size_t count = std::min(blockFrames, input.frames() - done);
            const auto block = pointersInto<const float*>(input, done);
            stretcher.process(block.data(), count, isLast && done + count == input.frames());
            done += count;
        } while (done < input.frames());
    }
};

TimeStretcher::TimeStretcher(int sampleRate, int channels, double rate)
    : state_(std::make_unique<State>(sampleRate, channels, rate)) {}
TimeStretcher::~TimeStretcher() = default;

void TimeStretcher::feed(const AudioBuffer& input, bool isLast) {
    state_->process(input, isLast);
}

void TimeStretcher::take(AudioBuffer& output) {
    const int available = state_->stretcher.available();  // negative when all has been taken
    const std::size_t count = available > 0 ? static_cast<std::size_t>(available) : 0;
    output.channels.resize(state_->channels);
    for (auto& channel : output.channels) channel.resize(count);
    if (count == 0) return;
    const auto pointers = pointersInto<float*>(output, 0);
    const std::size_t got = state_->stretcher.retrieve(pointers.data(), count);
    const std::size_t dropped = std::min(got, state_->toDrop);
    state_->toDrop -= dropped;
    for (auto& channel : output.channels) {
        channel.resize(got);
        channel.erase(channel.begin(), channel.begin() + static_cast<std::ptrdiff_t>(dropped));
    }
}

}  // namespace lumenwhirl
