#include "Media/VideoWriter.h"

#include "Media/FFmpegHandles.h"
#include "Media/MediaError.h"
#include "Media/OutputFile.h"
#include "Media/PixelBuffers.h"
#include "Media/SoundEncoder.h"

#include <algorithm>
#include <cassert>
#include <deque>
#include <limits>
#include <new>
#include <numeric>

namespace lumenwhirl {
namespace {

[[nodiscard]] const char* encoderName(VideoCodec codec) {
    switch (codec) {
        case VideoCodec::h264:
            return "libx264";
        case VideoCodec::hevc:
            return "libx265";
    }
    return "";
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

[[nodiscard]] CodecHandle openEncoder(const VideoSettings& settings, const std::filesystem::path& file) {
    const char* name = encoderName(settings.codec);
    const AVCodec* encoder = avcodec_find_encoder_by_name(name);
    if (!encoder) {
        throw MediaError(MediaError::Kind::unsupported, file, std::string("this FFmpeg has no encoder ") + name);
    }
    CodecHandle codec(avcodec_alloc_context3(encoder));
    if (!codec) throw std::bad_alloc();
    codec->width = settings.width;
    codec->height = settings.height;
    codec->pix_fmt = AV_PIX_FMT_YUV420P;
    codec->time_base = {settings.timeBase.numerator, settings.timeBase.denominator};
    codec->framerate = {settings.frameRate.numerator, settings.frameRate.denominator};
    codec->sample_aspect_ratio = {1, 1};
    tagAsOurs(*codec);
    codec->chroma_sample_location = AVCHROMA_LOC_LEFT;
    codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    codec->log_level_offset = AV_LOG_TRACE;  // x264 would print its statistics
    codec->thread_count = settings.threads;
    if (settings.bitRate > 0) codec->bit_rate = settings.bitRate;
    if (settings.keyFrameInterval > 0) codec->gop_size = settings.keyFrameInterval;

    Dictionary options{{"preset", settings.speed}};
    if (settings.codec == VideoCodec::h264 && settings.lookahead > 0) {
        options.set("rc-lookahead", std::to_string(settings.lookahead));
        options.set("mbtree", "1");  // what looking ahead is for
    }
    if (settings.codec == VideoCodec::hevc) {
        std::string parameters = "log-level=none";  // x265 writes past libavutil's log
        // x265 3.5 writes past its tables for pictures narrower than that.
        if (settings.width < 64) parameters += ":cutree=0";
        if (settings.threads > 0) parameters += ":pools=" + std::to_string(settings.threads);
        options.set("x265-params", parameters);
    }
    const int result = orOutOfMemory(avcodec_open2(codec.get(), encoder, options.address()));
    if (result < 0) {
        throw MediaError(MediaError::Kind::encoderFailed, file,
                         std::string("cannot start ") + name + " at " + std::to_string(settings.width) + "x" +
                             std::to_string(settings.height) + ": " + reasonFor(result));
    }
    return codec;
}

}  // namespace

struct VideoWriter::State {
    State(const std::filesystem::path& file, const VideoSettings& video,
          const std::optional<SoundSettings>& sound);

    void send(std::int64_t duration);
    void encode(const AVFrame* frame);
    [[nodiscard]] std::int64_t takeDuration(std::int64_t pts);

    VideoSettings settings;
    std::optional<OutputFile> output;
    CodecHandle codec;
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
    codec = openEncoder(video, file);
    output.emplace(file, "mp4");
    stream = &output->addStream();
    stream->time_base = codec->time_base;
    stream->avg_frame_rate = codec->framerate;
    if (orOutOfMemory(avcodec_parameters_from_context(stream->codecpar, codec.get())) < 0) {
        throw MediaError(MediaError::Kind::encoderFailed, file, "cannot describe the video track");
    }
    // Players of Apple's take HEVC only with its parameter sets in the header, which this tag says.
    if (video.codec == VideoCodec::hevc) stream->codecpar->codec_tag = MKTAG('h', 'v', 'c', '1');
    if (soundSettings) sound.emplace(*output, *soundSettings);

    Dictionary options{{"movflags", "+faststart"}};
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
    int result = avcodec_send_frame(codec.get(), frame);
    while (result >= 0) {
        result = avcodec_receive_packet(codec.get(), packet.get());
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
        if (result < 0) break;
        packet->stream_index = stream->index;
        packet->duration = takeDuration(packet->pts);
        av_packet_rescale_ts(packet.get(), codec->time_base, stream->time_base);
        output->write(*packet);
    }
    orOutOfMemory(result);
    throw MediaError(MediaError::Kind::encoderFailed, output->path(),
                     std::string("cannot encode with ") + encoderName(settings.codec) + ": " + reasonFor(result));
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
            const AVRational frame = av_inv_q(state.codec->framerate);
            state.send(std::max<std::int64_t>(1, av_rescale_q(1, frame, state.codec->time_base)));
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
