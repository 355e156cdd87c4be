#include "Media/AudioTimeline.h"

#include "Media/FFmpegHandles.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>
#include <stdexcept>
#include <utility>
#include <vector>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
}

namespace lumenwhirl {
namespace {

constexpr int blockFrames = 4096;  // given to the sink at once

// The errors of the times are averaged, and the rest is corrected slowly, so that jitter cannot be heard: a clock
// wrong by 100 ppm leaves the audio 1 ms off; times that jitter by 3 ms make its pitch waver by about 20 ppm.
constexpr double averagingTime = 2;       // seconds
constexpr double correctionTime = 10;     // seconds
constexpr double mostCorrection = 0.005;  // of the rate, a twelfth of a semitone: for a device that is far off
constexpr int correctionSpan = 10;        // seconds over which swresample is asked to stretch, for a fine ratio

}  // namespace

struct AudioTimeline::State {
    State(int sampleRate, int channelCount, Sink to);

    void add(double time, const float* samples, std::size_t frames);
    void restart();
    void drain();
    void silence(std::int64_t frames);
    void feed(const float* samples, std::size_t frames);
    void follow(double error, std::size_t frames);
    void give(int frames);

    int rate, channels;
    Sink sink;
    ResamplerHandle resampler;
    std::vector<std::vector<float>> buffer;
    std::vector<float*> planes;
    bool isRunning = false;  // the next block is expected to follow the last
    std::int64_t given = 0;  // samples
    double error = 0;        // seconds by which blocks come later than they are placed, averaged
};

AudioTimeline::State::State(int sampleRate, int channelCount, Sink to)
    : rate(sampleRate), channels(channelCount), sink(std::move(to)) {
    constexpr int highestRate = 768'000, mostChannels = 64;
    if (rate < 1 || rate > highestRate || channels < 1 || channels > mostChannels)
        throw std::invalid_argument("audio cannot have this rate or number of channels");
    buffer.assign(static_cast<std::size_t>(channels), std::vector<float>(blockFrames));
    for (auto& plane : buffer) planes.push_back(plane.data());
    AVChannelLayout layout{};
    av_channel_layout_default(&layout, channels);
    SwrContext* made = nullptr;
    const int result = swr_alloc_set_opts2(&made, &layout, AV_SAMPLE_FMT_FLTP, rate, &layout, AV_SAMPLE_FMT_FLT,
                                           rate, 0, nullptr);
    resampler.reset(made);
    av_channel_layout_uninit(&layout);
    if (result < 0) throw std::bad_alloc();
    av_opt_set_int(made, "flags", SWR_FLAG_RESAMPLE, 0);  // from the start: to begin later clicks
    av_opt_set_int(made, "linear_interp", 1, 0);
    restart();
}

/// Drops what the resampler holds, and its ratio.
void AudioTimeline::State::restart() {
    swr_close(resampler.get());
    if (swr_init(resampler.get()) < 0) throw std::bad_alloc();
    error = 0;
}

void AudioTimeline::State::add(double time, const float* samples, std::size_t frames) {
    const auto sampleAt = [&](double seconds) { return static_cast<std::int64_t>(std::llround(seconds * rate)); };
    const double laidAt =
        (static_cast<double>(given) + static_cast<double>(swr_get_delay(resampler.get(), rate))) / rate;
    const double late = time - laidAt;
    if (isRunning && std::fabs(late) < jump) {
        follow(late, frames);
        feed(samples, frames);
        return;
    }
    if (isRunning) {
        drain();
        restart();
        isRunning = false;  // stays so if the whole block is cut: the next one is placed exactly again
    }
    const std::int64_t hole = sampleAt(time) - given;
    const auto cut =
        static_cast<std::size_t>(std::clamp<std::int64_t>(-hole, 0, static_cast<std::int64_t>(frames)));
    if (cut == frames) return;
    silence(std::max<std::int64_t>(hole, 0));
    isRunning = true;
    feed(samples + cut * static_cast<std::size_t>(channels), frames - cut);
}

void AudioTimeline::State::follow(double late, std::size_t frames) {
    const double seconds = static_cast<double>(frames) / rate;
    error += (late - error) * std::min(1.0, seconds / averagingTime);
    const double correction = std::clamp(error / correctionTime, -mostCorrection, mostCorrection);
    const int span = correctionSpan * rate;
    if (swr_set_compensation(resampler.get(), static_cast<int>(std::lround(correction * span)), span) < 0)
        throw std::bad_alloc();
}

void AudioTimeline::State::feed(const float* samples, std::size_t frames) {
    while (frames > 0) {
        const auto count = static_cast<int>(std::min<std::size_t>(frames, blockFrames / 2));
        const auto* from = reinterpret_cast<const std::uint8_t*>(samples);
        int got = swr_convert(resampler.get(), reinterpret_cast<std::uint8_t**>(planes.data()), blockFrames, &from,
                              count);
        give(got);
        samples += static_cast<std::ptrdiff_t>(count) * channels;
        frames -= static_cast<std::size_t>(count);
    }
}

void AudioTimeline::State::drain() {
    give(swr_convert(resampler.get(), reinterpret_cast<std::uint8_t**>(planes.data()), blockFrames, nullptr, 0));
}

void AudioTimeline::State::silence(std::int64_t frames) {
    for (auto& plane : buffer) std::fill(plane.begin(), plane.end(), 0.0F);
    while (frames > 0) {
        const auto count = static_cast<int>(std::min<std::int64_t>(frames, blockFrames));
        give(count);
        frames -= count;
    }
}

void AudioTimeline::State::give(int frames) {
    if (frames < 0) throw std::bad_alloc();  // the only way to fail
    if (frames == 0) return;
    given += frames;
    sink(planes.data(), static_cast<std::size_t>(frames));
}

AudioTimeline::AudioTimeline(int sampleRate, int channels, Sink sink)
    : state_(std::make_unique<State>(sampleRate, channels, std::move(sink))) {}
AudioTimeline::~AudioTimeline() = default;
AudioTimeline::AudioTimeline(AudioTimeline&&) noexcept = default;
AudioTimeline& AudioTimeline::operator=(AudioTimeline&&) noexcept = default;

void AudioTimeline::add(double time, const float* samples, std::size_t frames) {
    state_->add(time, samples, frames);
}

void AudioTimeline::finish() {
    state_->drain();
}

}  // namespace lumenwhirl
