#include "Media/AudioWriter.h"

#include "Media/AudioEncoder.h"
#include "Media/MediaError.h"
#include "Media/OutputFile.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <optional>
#include <vector>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/mathematics.h>
}

namespace lumenwhirl {
namespace {

/// The mean of the channels, sample by sample.
AudioBuffer mixed(const AudioBuffer& buffer) {
    AudioBuffer mix{{buffer.channels.front()}};
    std::vector<float>& sum = mix.channels.front();
    for (std::size_t c = 1; c < buffer.channels.size(); ++c)
        for (std::size_t i = 0; i < sum.size(); ++i) sum[i] += buffer.channels[c][i];
    for (float& sample : sum) sample /= static_cast<float>(buffer.channels.size());
    return mix;
}

template <class Sample, class Buffer>
std::vector<Sample*> planesOf(Buffer& buffer) {
    std::vector<Sample*> planes;
    for (auto& channel : buffer.channels) planes.push_back(channel.data());
    return planes;
}

}  // namespace

struct AudioWriter::State {
    State(const std::filesystem::path& file, const AudioSettings& audio, FileLayout layout);

    void write(const AudioBuffer& buffer);
    void finish();
    void resample(const AudioBuffer* buffer, AudioBuffer& resampled);
    void encode(const AudioBuffer& buffer);
    void check(int result) const;

    int inputRate, channels, rate;  // given; of the file, the last two
    bool mixes;
    std::optional<OutputFile> output;
    std::optional<AudioEncoder> encoder;
    ResamplerHandle resampler;            // where the rates differ
    std::int64_t taken = 0, written = 0;  // samples, at inputRate and at rate
};

AudioWriter::State::State(const std::filesystem::path& file, const AudioSettings& audio, FileLayout layout)
    : inputRate(audio.sampleRate),
      channels(audio.channels <= AudioEncoder::mostChannels ? audio.channels : 1),
      rate(inputRate > 0 ? AudioEncoder::rateFor(inputRate) : inputRate),
      mixes(channels != audio.channels) {
    output.emplace(file, "ipod", layout);
    const std::int64_t bitRate = audio.bitRate > 0 ? audio.bitRate : std::int64_t{96'000} * (channels + 1);
    encoder.emplace(*output, AudioSettings{.sampleRate = rate, .channels = channels, .bitRate = bitRate});
    if (rate != inputRate) {
        AVChannelLayout speakers{};
        av_channel_layout_default(&speakers, channels);
        SwrContext* made = nullptr;
        const int result = swr_alloc_set_opts2(&made, &speakers, AV_SAMPLE_FMT_FLTP, rate, &speakers,
                                               AV_SAMPLE_FMT_FLTP, inputRate, 0, nullptr);
        resampler.reset(made);
        av_channel_layout_uninit(&speakers);
        check(result);
        check(swr_init(resampler.get()));
    }
    // The unit of the track's duration: samples, so that its end is exact.
    Dictionary options{{"movie_timescale", std::to_string(rate)}};
    output->start(options);
    if (layout == FileLayout::fragmented) {
        encoder->writeLeadIn();
        output->flush();
    }
}

void AudioWriter::State::check(int result) const {
    if (orOutOfMemory(result) >= 0) return;
    throw MediaError(MediaError::Kind::unsupported, output->path(),
                     "cannot resample the audio: " + reasonFor(result));
}

void AudioWriter::State::write(const AudioBuffer& buffer) {
    if (mixes && buffer.channels.size() > 1) return write(mixed(buffer));
    assert(buffer.channels.size() == static_cast<std::size_t>(channels));
    if (!resampler) return encode(buffer);
    taken += static_cast<std::int64_t>(buffer.frames());
    AudioBuffer resampled;
    resample(&buffer, resampled);
    encode(resampled);
}

/// What the resampler has ready after `buffer`, or without one everything that is left.
void AudioWriter::State::resample(const AudioBuffer* buffer, AudioBuffer& resampled) {
    const int count = buffer ? static_cast<int>(buffer->frames()) : 0;
    const int room = swr_get_out_samples(resampler.get(), count);
    check(room);
    resampled.channels.assign(static_cast<std::size_t>(channels),
                              std::vector<float>(static_cast<std::size_t>(room)));
    auto to = planesOf<float>(resampled);
    std::vector<const float*> from;
    if (buffer) from = planesOf<const float>(*buffer);
    const int got = swr_convert(resampler.get(), reinterpret_cast<std::uint8_t**>(to.data()), room,
                                buffer ? reinterpret_cast<const std::uint8_t**>(from.data()) : nullptr, count);
    check(got);
    for (auto& channel : resampled.channels) channel.resize(static_cast<std::size_t>(got));
}

void AudioWriter::State::encode(const AudioBuffer& buffer) {
    const auto planes = planesOf<const float>(buffer);
    encoder->write(planes.data(), buffer.frames());
    written += static_cast<std::int64_t>(buffer.frames());
}

void AudioWriter::State::finish() {
    if (resampler) {
        // The resampler ends some samples early or late; the length must be that of what was given.
        AudioBuffer rest;
        resample(nullptr, rest);
        const std::int64_t missing = av_rescale(taken, rate, inputRate) - written;
        for (auto& channel : rest.channels)
            channel.resize(static_cast<std::size_t>(std::max<std::int64_t>(0, missing)));
        encode(rest);
    }
    encoder->finish();
    output->finish();
}

AudioWriter::AudioWriter(const std::filesystem::path& file, const AudioSettings& audio, FileLayout layout)
    : state_(std::make_unique<State>(file, audio, layout)) {}
AudioWriter::~AudioWriter() = default;
AudioWriter::AudioWriter(AudioWriter&&) noexcept = default;
AudioWriter& AudioWriter::operator=(AudioWriter&&) noexcept = default;

void AudioWriter::write(const AudioBuffer& buffer) {
    state_->write(buffer);
}

void AudioWriter::flush() {
    state_->output->flush();
}

void AudioWriter::finish() {
    try {
        state_->finish();
    } catch (...) {
        state_->encoder.reset();
        state_->output.reset();  // removes the file, or cuts it
        throw;
    }
}

}  // namespace lumenwhirl
