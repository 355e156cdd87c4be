#include "Media/VideoWriter.h"

#include "Media/FFmpegHandles.h"
#include "Media/MediaError.h"
#include "Media/OutputFile.h"
#include "Media/PixelBuffers.h"
#include "Media/SoundEncoder.h"
#include "Media/VideoEncoder.h"

#include <algorithm>
#include <cassert>
#include <deque>
#include <limits>
#include <new>
#include <numeric>

namespace lumenwhirl {
namespace {

[[nodiscard]] Container containerOf(VideoCodec codec) noexcept {
    return codec == VideoCodec::prores ? Container::mov : Container::mp4;
}

/// Units a second in which the container states how long tracks play: as fine as both tracks' ticks, so that
/// nothing is rounded. 0 where no such number fits.
[[nodiscard]] int movieTimescale(Rational videoTimeBase, const std::optional<SoundSettings>& sound) {
    const std::int64_t scale =
        std::lcm<std::int64_t, std::int64_t>(videoTimeBase.denominator, sound ? sound->sampleRate : 1);
    return scale <= std::numeric_limits<std::int32_t>::max() ? static_cast<int>(scale) : 0;
}

void check(const VideoSettings& settings, const std::filesystem::path& file) {
    const auto fail = [&](const std::string& problem) {
        throw MediaError(MediaError::Kind::unsupported, file, problem);
    };
    constexpr int largestSide = 32768;
    const auto isSide = [](int side) { return side >= 2 && side <= largestSide && side % 2 == 0; };
    if (!isSide(settings.width) || !isSide(settings.height)) {
        fail("cannot encode pictures of " + std::to_string(settings.width) + "x" +
             std::to_string(settings.height));
    }
    const auto isPositive = [](Rational value) { return value.numerator > 0 && value.denominator > 0; };
    if (!isPositive(settings.frameRate) || !isPositive(settings.timeBase))
        fail("needs a frame rate and a time base");
}

}  // namespace

struct VideoWriter::State {
    State(const std::filesystem::path& file, const VideoSettings& video,
          const std::optional<SoundSettings>& sound);

    void send(std::int64_t duration);
    void encode(const AVFrame* frame);
    [[nodiscard]] std::int64_t takeDuration(std::int64_t pts);

    VideoSettings settings;
    [[nodiscard]] AVRational timeBase() const noexcept {
        return {settings.timeBase.numerator, settings.timeBase.denominator};
    }
    [[nodiscard]] AVRational frameRate() const noexcept {
        return {settings.frameRate.numerator, settings.frameRate.denominator};
    }

    std::optional<OutputFile> output;
    std::optional<VideoEncoder> encoder;
    AVStream* stream = nullptr;
    std::optional<SoundEncoder> sound;
    PacketHandle packet = makePacket();

    FrameHandle held;  // written last: how long it lasts is known when the next one comes
    struct Span {
        std::int64_t pts, duration;
    };
    std::deque<Span> spans;  // of the frames inside the encoder, ascending
};

VideoWriter::State::State(const std::filesystem::path& file, const VideoSettings& video,
                          const std::optional<SoundSettings>& soundSettings)
    : settings(video) {
    check(video, file);
    encoder.emplace(video, file);
    output.emplace(file, formatName(containerOf(video.codec)), video.layout);
    stream = &output->addStream();
    stream->time_base = timeBase();
    stream->avg_frame_rate = frameRate();
    if (orOutOfMemory(encoder->describe(*stream->codecpar)) < 0) {
        throw MediaError(MediaError::Kind::encoderFailed, file, "cannot describe the video track");
    }
    // Players of Apple's take HEVC only with its parameter sets in the header, which this tag says.
    if (video.codec == VideoCodec::hevc) stream->codecpar->codec_tag = MKTAG('h', 'v', 'c', '1');
    if (soundSettings) sound.emplace(*output, *soundSettings);

    Dictionary options;
    if (const int scale = movieTimescale(video.timeBase, soundSettings); scale > 0) {
        options.set("movie_timescale", std::to_string(scale));
    }
    output->start(options);
}

/// Hands the held frame to the encoder.
void VideoWriter::State::send(std::int64_t duration) {
    spans.push_back({held->pts, duration});
    const FrameHandle frame = std::move(held);
    encode(frame.get());
}

void VideoWriter::State::encode(const AVFrame* frame) {
    int result = encoder->send(frame);
    while (result >= 0) {
        result = encoder->receive(*packet);
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
        if (result < 0) break;
        packet->stream_index = stream->index;
        packet->duration = takeDuration(packet->pts);
        av_packet_rescale_ts(packet.get(), timeBase(), stream->time_base);
        output->write(*packet);
    }
    if (!encoder->isHardware()) orOutOfMemory(result);
    throw MediaError(MediaError::Kind::encoderFailed, output->path(),
                     std::string("cannot encode with ") + encoder->name() + ": " + reasonFor(result) +
                         (encoder->isHardware() ? "; choose the encoder \"software\"" : ""));
}

std::int64_t VideoWriter::State::takeDuration(std::int64_t pts) {
    const auto found = std::find_if(spans.begin(), spans.end(), [&](const Span& span) { return span.pts == pts; });
    assert(found != spans.end());
    if (found == spans.end()) return 0;
    const std::int64_t duration = found->duration;
    spans.erase(found);
    return duration;
}

VideoWriter::VideoWriter(const std::filesystem::path& file, const VideoSettings& video,
                         const std::optional<SoundSettings>& sound)
    : state_(std::make_unique<State>(file, video, sound)) {}
VideoWriter::~VideoWriter() = default;
VideoWriter::VideoWriter(VideoWriter&&) noexcept = default;
VideoWriter& VideoWriter::operator=(VideoWriter&&) noexcept = default;

void VideoWriter::write(const VideoFrame& frame, std::int64_t pts) {
    State& state = *state_;
    assert(frame.width() == state.settings.width && frame.height() == state.settings.height);
    assert(frame.format() == VideoEncoder::formatFor(state.settings.codec));
    assert(!state.held || pts > state.held->pts);
    if (state.held) state.send(pts - state.held->pts);
    state.held = sharePixels(*frame.frame_);
    state.held->pts = pts;
}

void VideoWriter::writeSound(const float* const* channels, std::size_t frames) {
    assert(state_->sound);
    state_->sound->write(channels, frames);
}

void VideoWriter::finish() {
    State& state = *state_;
    try {
        if (state.held) {
            state.send(std::max<std::int64_t>(1, av_rescale_q(1, av_inv_q(state.frameRate()), state.timeBase())));
        }
        state.encode(nullptr);
        if (state.sound) state.sound->finish();
        state.output->finish();
    } catch (...) {
        state.sound.reset();
        state.output.reset();  // removes the file
        throw;
    }
}

}  // namespace lumenwhirl
