#include "Tests/Recorder/Pulse/TonePlayer.h"

#include "Tests/Support/Audio.h"

#include <sys/time.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <vector>

namespace lumenwhirl {
namespace {

constexpr pa_sample_spec spec{.format = PA_SAMPLE_S16NE, .rate = 48000, .channels = 1};
constexpr double bytesPerSecond = 2.0 * 48000;

std::vector<std::int16_t> samplesOf(const Tone& tone) {
    std::vector<std::int16_t> samples;
    const auto frames = static_cast<std::size_t>(tone.seconds * spec.rate);
    for (const float sample : signals::sine(frames, tone.frequency, tone.amplitude))
        samples.push_back(static_cast<std::int16_t>(std::lround(32767 * sample)));
    return samples;
}

double secondsOf(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

}  // namespace

void TonePlayer::StreamDeleter::operator()(pa_stream* stream) const noexcept {
    pa_stream_set_state_callback(stream, nullptr, nullptr);
    pa_stream_set_latency_update_callback(stream, nullptr, nullptr);
    pa_stream_disconnect(stream);
    pa_stream_unref(stream);
}

TonePlayer::TonePlayer(const std::string& output, const Tone& tone) : output_(output) {
    const std::vector<std::int16_t> samples = samplesOf(tone);
    const auto sizeBytes = static_cast<std::uint32_t>(samples.size() * sizeof(std::int16_t));
    const PulseConnection::Lock lock(connection_);
    stream_.reset(pa_stream_new(connection_.context(), "Tone", &spec, nullptr));
    pa_stream_set_state_callback(
        stream_.get(), [](pa_stream*, void* self) { static_cast<TonePlayer*>(self)->connection_.signal(); }, this);
    pa_stream_set_latency_update_callback(
        stream_.get(), [](pa_stream*, void* self) { static_cast<TonePlayer*>(self)->update(); }, this);
    const pa_buffer_attr sizes{
        .maxlength = sizeBytes, .tlength = sizeBytes, .prebuf = sizeBytes, .minreq = 4096, .fragsize = 4096};
    constexpr auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_AUTO_TIMING_UPDATE | PA_STREAM_DONT_MOVE);
    bool isGood = pa_stream_connect_playback(stream_.get(), output.c_str(), &sizes, flags, nullptr, nullptr) >= 0;
    while (isGood && pa_stream_get_state(stream_.get()) != PA_STREAM_READY) {
        connection_.wait();
        isGood = PA_STREAM_IS_GOOD(pa_stream_get_state(stream_.get()));
    }
    if (!isGood || pa_stream_write(stream_.get(), samples.data(), sizeBytes, nullptr, 0, PA_SEEK_RELATIVE) < 0)
        throw std::runtime_error("cannot play into " + output + ": " + connection_.reason());
    pa_operation_unref(pa_stream_drain(
        stream_.get(),
        [](pa_stream*, int, void* data) {
            auto& self = *static_cast<TonePlayer*>(data);
            self.isPlayed_ = true;
            self.connection_.signal();
        },
        this));
}

TonePlayer::~TonePlayer() {
    const PulseConnection::Lock lock(connection_);
    stream_.reset();
}

void TonePlayer::update() {
    const pa_timing_info* info = pa_stream_get_timing_info(stream_.get());
    if (onset_ || !info || info->playing == 0 || info->read_index <= 0) return;
    timeval wallClock{};
    gettimeofday(&wallClock, nullptr);
    const double age = secondsOf(wallClock) - secondsOf(info->timestamp);
    const double heard = static_cast<double>(info->read_index) / bytesPerSecond -
                         static_cast<double>(info->sink_usec) / 1e6;  // of the tone, then
    onset_ = static_cast<double>(pa_rtclock_now()) / 1e6 - age - heard;
    connection_.signal();
}

double TonePlayer::onset() {
    const PulseConnection::Lock lock(connection_);
    while (!onset_ && connection_.isGood()) connection_.wait();
    if (!onset_) throw std::runtime_error("the audio server is gone");
    return *onset_;
}

void TonePlayer::waitUntilPlayed() {
    const PulseConnection::Lock lock(connection_);
    while (!isPlayed_ && connection_.isGood()) connection_.wait();
}

}  // namespace lumenwhirl
