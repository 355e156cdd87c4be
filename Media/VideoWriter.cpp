#include "Media/VideoWriter.h"

#include "Media/AudioEncoder.h"
#include "Media/CopiedAudio.h"
#include "Media/FFmpegHandles.h"
#include "Media/MediaError.h"
#include "Media/OutputFile.h"
#include "Media/PixelBuffers.h"
#include "Media/VideoEncoder.h"

#include <algorithm>
#include <cassert>
#include <deque>
#include <utility>

namespace lumenwhirl {
namespace {

[[nodiscard]] Container containerOf(VideoCodec codec) noexcept {
    return codec == VideoCodec::prores ? Container::mov : Container::mp4;
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
    State(std::filesystem::path path, const VideoSettings& video);

    void addTrack(FileLayout layout);
    void start(AVRational audioTimeBase);
    void startWith(const std::optional<std::filesystem::path>& audioFile);
    void send(std::int64_t duration);
    void encode(const AVFrame* frame);
    void deliver();
    void writePicture(AVPacket& picture);
    [[nodiscard]] std::int64_t takeDuration(std::int64_t pts);
    void finish();

    std::filesystem::path file;
    VideoSettings settings;
    [[nodiscard]] AVRational timeBase() const noexcept {
        return {settings.timeBase.numerator, settings.timeBase.denominator};
    }
    [[nodiscard]] AVRational frameRate() const noexcept {
        return {settings.frameRate.numerator, settings.frameRate.denominator};
    }

    std::optional<VideoEncoder> encoder;
    std::optional<OutputFile> output;
    AVStream* stream = nullptr;
    std::optional<AudioEncoder> audio;
    std::optional<CopiedAudio> copiedAudio;
    PacketHandle packet = makePacket();
    bool isStarted = false;

    AudioFinder findAudio;
    std::deque<PacketHandle> waiting;  // pictures, until the sound is found
    std::int64_t waitingBytes = 0;

    FrameHandle held;  // written last: how long it lasts is known when the next one comes
    struct Span {
        std::int64_t pts, duration;
    };
    std::deque<Span> spans;  // of the frames inside the encoder, ascending
    std::int64_t end = 0;    // of the pictures written, in ticks of the stream
};

VideoWriter::State::State(std::filesystem::path path, const VideoSettings& video)
    : file(std::move(path)), settings(video) {
    check(video, file);
    encoder.emplace(video, file);
}

void VideoWriter::State::addTrack(FileLayout layout) {
    output.emplace(file, formatName(containerOf(settings.codec)), layout);
    stream = &output->addStream();
    stream->time_base = timeBase();
    stream->avg_frame_rate = frameRate();
    if (orOutOfMemory(encoder->describe(*stream->codecpar)) < 0) {
        throw MediaError(MediaError::Kind::encoderFailed, file, "cannot describe the video track");
    }
    // Players of Apple's take HEVC only with its parameter sets in the header, which this tag says.
    if (settings.codec == VideoCodec::hevc) stream->codecpar->codec_tag = MKTAG('h', 'v', 'c', '1');
}

void VideoWriter::State::start(AVRational audioTimeBase) {
    Dictionary options;
    setMovieTimescale(options, timeBase(), audioTimeBase);
    output->start(options);
    isStarted = true;
}

/// Begins the file with the sound that was found, or none, and writes the pictures that waited for it.
void VideoWriter::State::startWith(const std::optional<std::filesystem::path>& audioFile) {
    addTrack(audioFile ? settings.layout : FileLayout::indexLast);
    if (audioFile) copiedAudio.emplace(*audioFile, *output);
    start(copiedAudio ? copiedAudio->track().timeBase() : AVRational{1, 1});
    for (const PacketHandle& picture : waiting) writePicture(*picture);
    waiting.clear();
}

/// Hands the held frame to the encoder. `duration`: in ticks; 0: one frame at the nominal rate.
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
        deliver();
    }
    if (!encoder->isHardware()) orOutOfMemory(result);
    throw MediaError(MediaError::Kind::encoderFailed, file,
                     std::string("cannot encode with ") + encoder->name() + ": " + reasonFor(result) +
                         (encoder->isHardware() ? "; choose the encoder \"software\"" : ""));
}

void VideoWriter::State::deliver() {
    if (isStarted) return writePicture(*packet);
    waitingBytes += packet->size;
    waiting.push_back(std::exchange(packet, makePacket()));
    const auto found = findAudio(false);
    if (found || waitingBytes > mostWaiting) startWith(found);
}

void VideoWriter::State::writePicture(AVPacket& picture) {
    const std::int64_t duration = takeDuration(picture.pts);
    picture.stream_index = stream->index;
    picture.duration = duration;
    av_packet_rescale_ts(&picture, timeBase(), stream->time_base);
    if (duration == 0)
        picture.duration = std::max<std::int64_t>(1, av_rescale_q(1, av_inv_q(frameRate()), stream->time_base));
    end = std::max(end, picture.pts + picture.duration);
    const std::int64_t decodeTime = picture.dts;
    output->write(picture);
    if (copiedAudio) copiedAudio->copyUntil(decodeTime, stream->time_base);
}

std::int64_t VideoWriter::State::takeDuration(std::int64_t pts) {
    const auto found = std::find_if(spans.begin(), spans.end(), [&](const Span& span) { return span.pts == pts; });
    assert(found != spans.end());
    if (found == spans.end()) return 0;
    const std::int64_t duration = found->duration;
    spans.erase(found);
    return duration;
}

void VideoWriter::State::finish() {
    if (held) send(0);
    encode(nullptr);
    if (!isStarted) startWith(findAudio(true));
    if (audio) audio->finish();
    if (copiedAudio) copiedAudio->finishAt(end, stream->time_base);
    output->finish();
}

VideoWriter::VideoWriter(const std::filesystem::path& file, const VideoSettings& video,
                         const std::optional<AudioSettings>& audio)
    : state_(std::make_unique<State>(file, video)) {
    State& state = *state_;
    state.addTrack(video.layout);
    if (audio) state.audio.emplace(*state.output, *audio);
    state.start({1, audio ? audio->sampleRate : 1});
}

VideoWriter::VideoWriter(const std::filesystem::path& file, const VideoSettings& video, AudioFinder findAudio)
    : state_(std::make_unique<State>(file, video)) {
    state_->findAudio = std::move(findAudio);
}

VideoWriter::~VideoWriter() = default;
VideoWriter::VideoWriter(VideoWriter&&) noexcept = default;
VideoWriter& VideoWriter::operator=(VideoWriter&&) noexcept = default;

void VideoWriter::write(const Picture& frame, std::int64_t pts) {
    State& state = *state_;
    assert(frame.width() == state.settings.width && frame.height() == state.settings.height);
    assert(frame.format() == VideoEncoder::formatFor(state.settings.codec));
    assert(!state.held || pts > state.held->pts);
    if (state.held) state.send(pts - state.held->pts);
    state.held = frameAround(frame);
    state.held->pts = pts;
}

void VideoWriter::writeAudio(const float* const* channels, std::size_t frames) {
    assert(state_->audio);
    state_->audio->write(channels, frames);
}

void VideoWriter::finish() {
    try {
        state_->finish();
    } catch (...) {
        state_->audio.reset();
        state_->copiedAudio.reset();
        state_->output.reset();  // removes the file
        throw;
    }
}

bool VideoWriter::hasFoundAudio() const noexcept {
    return state_->copiedAudio.has_value();
}

}  // namespace lumenwhirl
