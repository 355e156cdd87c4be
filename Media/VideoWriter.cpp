#include "Media/VideoWriter.h"

#include "Media/AudioEncoder.h"
#include "Media/CopiedTrack.h"
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

}  // namespace

struct VideoWriter::State {
    State(const std::filesystem::path& path, const VideoSettings& video)
        : file(path), settings(video), encoder(VideoEncoder::make(video, path)) {}

    void addTrack(FileLayout layout);
    void start(AVRational audioTimeBase);
    void startWith(const std::optional<std::filesystem::path>& audioFile);
    void send(std::int64_t duration);
    void encode(const AVFrame* frame);
    void deliver(AVPacket& packet);
    void writePacket(AVPacket& packet);
    [[nodiscard]] std::int64_t takeDuration(std::int64_t pts);
    void finish(std::optional<std::int64_t> endOfLast);

    std::filesystem::path file;
    VideoSettings settings;
    VideoEncoder encoder;
    std::optional<OutputFile> output;
    std::optional<AudioEncoder> audio;
    std::optional<CopiedAudio> copiedAudio;
    bool isStarted = false;

    AudioFinder findAudio;
    std::deque<PacketHandle> waiting;  // until the audio is found
    std::int64_t waitingBytes = 0;

    FrameHandle held;  // written last: how long it lasts is known when the next one comes
    struct Span {
        std::int64_t pts, duration;
    };
    std::deque<Span> spans;  // of the frames inside the encoder, ascending
    std::int64_t end = 0;    // of the frames written, in ticks of the stream
};

void VideoWriter::State::addTrack(FileLayout layout) {
    output.emplace(file, formatName(containerOf(settings.codec)), layout);
    encoder.addTo(*output);
}

void VideoWriter::State::start(AVRational audioTimeBase) {
    Dictionary options;
    setMovieTimescale(options, encoder.timeBase(), audioTimeBase);
    output->start(options);
    isStarted = true;
}

/// Begins the file with the audio that was found, or none, and writes the packets that waited for it.
void VideoWriter::State::startWith(const std::optional<std::filesystem::path>& audioFile) {
    addTrack(audioFile ? FileLayout::indexFirst : FileLayout::indexLast);
    if (audioFile) copiedAudio.emplace(*audioFile, *output);
    start(copiedAudio ? copiedAudio->track().timeBase() : AVRational{1, 1});
    for (const PacketHandle& packet : waiting) writePacket(*packet);
    waiting.clear();
}

/// Hands the held frame to the encoder. `duration`: in ticks; 0: one frame at the nominal rate.
void VideoWriter::State::send(std::int64_t duration) {
    spans.push_back({held->pts, duration});
    const FrameHandle frame = std::move(held);
    encode(frame.get());
}

void VideoWriter::State::encode(const AVFrame* frame) {
    encoder.encode(frame, [this](AVPacket& packet) { deliver(packet); });
}

void VideoWriter::State::deliver(AVPacket& packet) {
    if (isStarted) return writePacket(packet);
    waitingBytes += packet.size;
    av_packet_move_ref(waiting.emplace_back(makePacket()).get(), &packet);
    const auto found = findAudio(false);
    if (found || waitingBytes > mostWaiting) startWith(found);
}

void VideoWriter::State::writePacket(AVPacket& packet) {
    const std::int64_t duration = takeDuration(packet.pts);
    const AVRational ticks = encoder.stream().time_base;
    packet.duration = duration;
    encoder.assign(packet);
    if (duration == 0) {
        const AVRational frame{settings.frameRate.denominator, settings.frameRate.numerator};
        packet.duration = std::max<std::int64_t>(1, av_rescale_q(1, frame, ticks));
    }
    end = std::max(end, packet.pts + packet.duration);
    const std::int64_t decodeTime = packet.dts;
    output->write(packet);
    if (copiedAudio) copiedAudio->copyUntil(decodeTime, ticks);
}

std::int64_t VideoWriter::State::takeDuration(std::int64_t pts) {
    const auto found = std::find_if(spans.begin(), spans.end(), [&](const Span& span) { return span.pts == pts; });
    assert(found != spans.end());
    if (found == spans.end()) return 0;
    const std::int64_t duration = found->duration;
    spans.erase(found);
    return duration;
}

void VideoWriter::State::finish(std::optional<std::int64_t> endOfLast) {
    if (held) send(endOfLast ? std::max<std::int64_t>(*endOfLast - held->pts, 0) : 0);
    encode(nullptr);
    if (!isStarted) startWith(findAudio(true));
    if (audio) audio->finish();
    if (copiedAudio) copiedAudio->finishAt(end, encoder.stream().time_base);
    output->finish();
}

VideoWriter::VideoWriter(const std::filesystem::path& file, const VideoSettings& video,
                         const std::optional<AudioSettings>& audio)
    : state_(std::make_unique<State>(file, video)) {
    State& state = *state_;
    state.addTrack(FileLayout::indexFirst);
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

void VideoWriter::finish(std::optional<std::int64_t> end) {
    try {
        state_->finish(end);
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
