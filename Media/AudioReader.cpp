#include "Media/AudioReader.h"

#include "Media/Fragments.h"
#include "Media/InputFile.h"
#include "Media/MediaError.h"
#include "Media/StreamDecoder.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <string_view>
#include <utility>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/mathematics.h>
}

namespace lumenwhirl {
namespace {

constexpr int lowestRate = 4000;        // Hz; lower ones carry no speech, and converting them takes gigabytes
constexpr int highestRate = 1'000'000;  // Hz; converters give up to 768 kHz
// Seconds: longer than anybody records. A file with a damaged time must not become years of silence.
constexpr std::int64_t longestSilence = 2 * 24 * 60 * 60;
// Samples; no real time is near it, and sums of two do not overflow.
constexpr std::int64_t farthest = std::int64_t{1} << 60;

}  // namespace

struct AudioReader::State {
    explicit State(const std::filesystem::path& file);

    void decodeAhead(FrameHandle unused);
    [[nodiscard]] bool advance();
    void place(std::int64_t start);
    void dropUnwanted();
    [[nodiscard]] bool jumpBefore(std::int64_t sample);
    [[nodiscard]] std::int64_t stampOf(const AVFrame& frame) const;
    void trimEnd(std::int64_t start);
    void toPlanarFloat();

    InputFile input;
    StreamDecoder decoder;
    int sampleRate = 0, channels = 0;
    std::int64_t latestStart = 0;  // samples; a frame that claims to begin later is damage, not silence

    FrameHandle current, ahead;  // one more than needed, as only the last one is trimmed at its end
    std::size_t offset = 0;      // samples of current that were delivered or dropped
    std::size_t silence = 0;     // samples to deliver before current
    std::int64_t position = 0;   // of the next sample after silence and current, from time 0
    std::int64_t wanted = 0;     // the first sample to deliver
    bool hasStarted = false;
    bool hasJumped = false;      // so that the next frame's own time tells its position
    ResamplerHandle resampler;   // where the decoder does not give planar floats
    std::exception_ptr failure;  // to be thrown once what came before it is delivered
};

AudioReader::State::State(const std::filesystem::path& file)
    : input(file, AVMEDIA_TYPE_AUDIO), decoder(input, input.requiredStream(AVMEDIA_TYPE_AUDIO)) {
    sampleRate = decoder.codec().sample_rate;
    channels = decoder.codec().ch_layout.nb_channels;
    // What the decoder makes of it counts: HE-AAC comes out at twice the rate that its header says.
    decodeAhead(makeFrame());
    if (ahead) {
        sampleRate = ahead->sample_rate;
        channels = ahead->ch_layout.nb_channels;
    }
    if (sampleRate < lowestRate || sampleRate > highestRate || channels <= 0) {
        throw MediaError(MediaError::Kind::unsupported, file,
                         "the audio track has no usable sample rate, or no channels");
    }
    const std::int64_t duration = input.context().duration;
    latestStart =
        (duration > 0 ? std::min(duration / AV_TIME_BASE + 1, longestSilence) : longestSilence) * sampleRate;
}

void AudioReader::State::decodeAhead(FrameHandle unused) {
    if (failure) return;
    try {
        if (decoder.receive(*unused)) ahead = std::move(unused);
    } catch (const MediaError&) {
        failure = std::current_exception();
    }
}

/// Makes the next frame the current one; false at the end.
bool AudioReader::State::advance() {
    FrameHandle unused = std::exchange(current, std::move(ahead));
    if (!current) {
        if (failure) std::rethrow_exception(failure);
        return false;
    }
    decodeAhead(unused ? std::move(unused) : makeFrame());
    if (current->sample_rate != sampleRate || current->ch_layout.nb_channels != channels) {
        throw MediaError(MediaError::Kind::unsupported, input.path(),
                         "the audio changes its sample rate or channels");
    }
    const std::int64_t stamp = stampOf(*current);
    const AVRational tick{1, sampleRate};
    const std::int64_t start =
        stamp == AV_NOPTS_VALUE
            ? position
            : std::clamp(av_rescale_q(stamp, decoder.stream().time_base, tick), -farthest, farthest);
    if (!ahead && !failure) trimEnd(start);
    if (current->format != AV_SAMPLE_FMT_FLTP) toPlanarFloat();
    if (std::exchange(hasJumped, false)) position = std::min(start, wanted);
    place(start);
    dropUnwanted();
    return true;
}

std::int64_t AudioReader::State::stampOf(const AVFrame& frame) const {
    return frame.pts != AV_NOPTS_VALUE ? frame.pts : frame.best_effort_timestamp;
}

/// The last frame is whole even if the track ends inside it: the last packet's duration tells where.
void AudioReader::State::trimEnd(std::int64_t start) {
    const AVStream& stream = decoder.stream();
    if (decoder.endOfPackets() == AV_NOPTS_VALUE || av_cmp_q(stream.time_base, AVRational{1, sampleRate}) != 0)
        return;
    const std::int64_t length = std::min(decoder.endOfPackets(), farthest) - start;
    if (length > 0 && length < current->nb_samples) current->nb_samples = static_cast<int>(length);
}

/// Puts the current frame at its time: silence before it, or samples of it dropped.
void AudioReader::State::place(std::int64_t start) {
    offset = 0;
    // Coarse time stamps jitter around continuous audio; only more than that is a gap. The start is exact.
    const AVRational base = decoder.stream().time_base;
    const std::int64_t tolerance =
        hasStarted ? std::max<std::int64_t>(sampleRate / 100, av_rescale_q(2, base, AVRational{1, sampleRate}))
                   : 0;
    hasStarted = true;
    const std::int64_t gap = start - position;
    if (gap > tolerance) {
        if (start > latestStart) {
            throw MediaError(MediaError::Kind::damaged, input.path(),
                             "the audio's time stamps run past the file's end");
        }
        silence = static_cast<std::size_t>(gap);
        position += gap;
    } else if (gap < -tolerance) {
        offset = static_cast<std::size_t>(std::min<std::int64_t>(-gap, current->nb_samples));
    }
    position += current->nb_samples - static_cast<std::int64_t>(offset);
}

/// Of the silence and the frame that were just placed, what lies before the first sample to deliver.
void AudioReader::State::dropUnwanted() {
    const std::int64_t left = current->nb_samples - static_cast<std::int64_t>(offset);
    const std::int64_t unwanted = wanted - (position - left - static_cast<std::int64_t>(silence));
    if (unwanted <= 0) return;
    const std::int64_t silent = std::min(unwanted, static_cast<std::int64_t>(silence));
    silence -= static_cast<std::size_t>(silent);
    offset += static_cast<std::size_t>(std::min(unwanted - silent, left));
}

/// Continues at a packet some time before `sample`. False where only decoding from the start tells which sample a
/// packet begins with.
bool AudioReader::State::jumpBefore(std::int64_t sample) {
    // Decoders need some packets before their output is right: AAC 1, MP3 up to 10, or 0.26 s at 48 kHz.
    const std::int64_t from = sample - sampleRate / 2;
    const AVRational tick = decoder.stream().time_base;
    const bool isIndexed = std::string_view(input.context().iformat->name).starts_with("mov") &&
                           !fragmentsOf(input.path()).isFragmented;
    if (from <= 0 || !isIndexed || tick.den % (std::int64_t{sampleRate} * tick.num) != 0) return false;
    if (!decoder.seek(av_rescale_q(from, AVRational{1, sampleRate}, tick))) return false;
    current.reset();
    ahead.reset();
    failure = nullptr;
    offset = silence = 0;
    hasStarted = false;
    hasJumped = true;
    decodeAhead(makeFrame());
    return !ahead || stampOf(*ahead) != AV_NOPTS_VALUE;
}

void AudioReader::State::toPlanarFloat() {
    const auto check = [this](int result) {
        if (orOutOfMemory(result) >= 0) return;
        throw MediaError(MediaError::Kind::unsupported, input.path(),
                         "cannot convert the audio: " + reasonFor(result));
    };
    if (!resampler) {
        SwrContext* made = nullptr;
        const int result =
            swr_alloc_set_opts2(&made, &current->ch_layout, AV_SAMPLE_FMT_FLTP, sampleRate, &current->ch_layout,
                                static_cast<AVSampleFormat>(current->format), sampleRate, 0, nullptr);
        resampler.reset(made);
        check(result);
        check(swr_init(resampler.get()));
    }
    FrameHandle converted = makeFrame();
    converted->format = AV_SAMPLE_FMT_FLTP;
    converted->sample_rate = sampleRate;
    converted->nb_samples = current->nb_samples;
    check(av_channel_layout_copy(&converted->ch_layout, &current->ch_layout));
    check(av_frame_get_buffer(converted.get(), 0));
    // By pointers: the frame's own lengths may still count what was trimmed off its end.
    const int count = swr_convert(resampler.get(), converted->extended_data, converted->nb_samples,
                                  const_cast<const std::uint8_t**>(current->extended_data), current->nb_samples);
    check(count);
    converted->nb_samples = count;
    current = std::move(converted);
}

AudioReader::AudioReader(const std::filesystem::path& file) : state_(std::make_unique<State>(file)) {}
AudioReader::~AudioReader() = default;
AudioReader::AudioReader(AudioReader&&) noexcept = default;
AudioReader& AudioReader::operator=(AudioReader&&) noexcept = default;

int AudioReader::sampleRate() const noexcept {
    return state_->sampleRate;
}
int AudioReader::channels() const noexcept {
    return state_->channels;
}

void AudioReader::seek(double sourceTime) {
    const double latest = static_cast<double>(longestSilence);
    const double time = std::isnan(sourceTime) ? 0 : std::clamp(sourceTime, 0.0, latest);
    const std::int64_t sample = std::llround(time * state_->sampleRate);
    if (!state_->jumpBefore(sample)) {
        const std::filesystem::path file = state_->input.path();
        state_ = std::make_unique<State>(file);
    }
    state_->wanted = sample;
}

bool AudioReader::read(AudioBuffer& buffer, std::size_t maxFrames) {
    State& state = *state_;
    buffer.channels.resize(static_cast<std::size_t>(state.channels));
    for (auto& plane : buffer.channels) plane.resize(maxFrames);

    std::size_t filled = 0;
    while (filled < maxFrames) {
        if (state.silence > 0) {
            const std::size_t count = std::min(state.silence, maxFrames - filled);
            for (auto& plane : buffer.channels) std::fill_n(plane.data() + filled, count, 0.0F);
            state.silence -= count;
            filled += count;
            continue;
        }
        const std::size_t left =
            state.current ? static_cast<std::size_t>(state.current->nb_samples) - state.offset : 0;
        if (left > 0) {
            const std::size_t count = std::min(left, maxFrames - filled);
            for (std::size_t c = 0; c < buffer.channels.size(); ++c) {
                const auto* plane = reinterpret_cast<const float*>(state.current->extended_data[c]);
                std::copy_n(plane + state.offset, count, buffer.channels[c].data() + filled);
            }
            state.offset += count;
            filled += count;
            continue;
        }
        try {
            if (!state.advance()) break;
        } catch (const MediaError&) {
            state.current.reset();
            state.ahead.reset();
            state.failure = std::current_exception();
            if (filled == 0) {
                buffer.channels.assign(buffer.channels.size(), {});
                throw;
            }
            break;
        }
    }
    for (auto& plane : buffer.channels) plane.resize(filled);
    return filled > 0;
}

}  // namespace lumenwhirl
