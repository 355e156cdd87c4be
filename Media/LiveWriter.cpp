#include "Media/LiveWriter.h"

#include "Media/AudioEncoder.h"
#include "Media/OutputFile.h"
#include "Media/PixelBuffers.h"
#include "Media/VideoEncoder.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace lumenwhirl {
namespace {

/// Ticks. libavformat allows 2^31 between two packets; a frame that stays for longer is written again.
constexpr std::int64_t longestFrame = std::int64_t{1} << 30;

[[nodiscard]] VideoSettings inRealTime(VideoSettings settings) {
    settings.realTime = true;
    return settings;
}

}  // namespace

struct LiveWriter::State {
    State(std::filesystem::path path, const VideoSettings& video)
        : file(std::move(path)),
          settings(inRealTime(video)),
          encoder(VideoEncoder::make(settings, file)),
          keyFrameTicks(settings.keyFrameInterval * frameTicks()) {}

    void start(const std::optional<AudioSettings>& audioSettings);
    void write(const Picture& picture, std::int64_t pts);
    void encode(const AVFrame* frame);
    [[nodiscard]] std::int64_t frameTicks() const noexcept {
        const AVRational frame{settings.frameRate.denominator, settings.frameRate.numerator};
        return std::max<std::int64_t>(1, av_rescale_q(1, frame, encoder.timeBase()));
    }

    std::filesystem::path file;
    VideoSettings settings;
    VideoEncoder encoder;
    std::optional<OutputFile> output;
    std::optional<AudioEncoder> audio;
    std::int64_t keyFrameTicks;  // 0: as the encoder does
    std::int64_t latestKeyFrame = 0;
    std::optional<Picture> latest;
    std::int64_t latestPts = 0;
};

void LiveWriter::State::start(const std::optional<AudioSettings>& audioSettings) {
    audio.reset();
    output.reset();
    output.emplace(file, formatName(Container::mp4), FileLayout::fragmented);
    encoder.addTo(*output);
    if (audioSettings) audio.emplace(*output, *audioSettings);
    Dictionary options;
    setMovieTimescale(options, encoder.timeBase(), {1, audioSettings ? audioSettings->sampleRate : 1});
    output->start(options);
    if (audio) audio->writeLeadIn();
    output->flush();
}

void LiveWriter::State::write(const Picture& picture, std::int64_t pts) {
    const FrameHandle shared = frameAround(picture);
    shared->pts = pts;
    if (keyFrameTicks > 0 && pts - latestKeyFrame >= keyFrameTicks) shared->pict_type = AV_PICTURE_TYPE_I;
    encode(shared.get());
}

void LiveWriter::State::encode(const AVFrame* frame) {
    encoder.encode(frame, [this](AVPacket& packet) {
        packet.duration = 1;  // known only when the next one comes; never longer than until then
        if ((packet.flags & AV_PKT_FLAG_KEY) != 0) latestKeyFrame = packet.pts;
        encoder.assign(packet);
        output->write(packet);
    });
}

LiveWriter::LiveWriter(std::filesystem::path file, const VideoSettings& video)
    : state_(std::make_unique<State>(std::move(file), video)) {}
LiveWriter::~LiveWriter() = default;
LiveWriter::LiveWriter(LiveWriter&&) noexcept = default;
LiveWriter& LiveWriter::operator=(LiveWriter&&) noexcept = default;

void LiveWriter::start(const std::optional<AudioSettings>& audio) {
    try {
        state_->start(audio);
    } catch (...) {
        state_->audio.reset();
        state_->output.reset();  // removes the file
        throw;
    }
}

void LiveWriter::write(const Picture& frame, std::int64_t pts) {
    assert(frame.width() == state_->settings.width && frame.height() == state_->settings.height);
    State& state = *state_;
    while (state.latest && pts - state.latestPts > longestFrame) {
        state.latestPts += longestFrame;
        state.write(*state.latest, state.latestPts);
    }
    state.write(frame, pts);
    state.latest = frame;
    state.latestPts = pts;
}

void LiveWriter::writeAudio(const float* const* channels, std::size_t frames) {
    assert(state_->audio);
    try {
        state_->audio->write(channels, frames);
    } catch (...) {
        state_->audio.reset();
        throw;
    }
}

void LiveWriter::flush() {
    state_->output->flush();
}

std::int64_t LiveWriter::bytes() const noexcept {
    return state_->output ? state_->output->flushedBytes() : 0;
}

void LiveWriter::finish() {
    state_->encode(nullptr);
    if (state_->audio) state_->audio->finish();
    state_->output->finish();
}

}  // namespace lumenwhirl
