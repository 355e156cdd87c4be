#include "Recorder/Backends/Pulse/PulseStream.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace lumenwhirl {
namespace {

constexpr double usPerSecond = 1e6;
constexpr int blocksPerSecond = 100;
constexpr double longestOpening = 5;         // seconds: a wireless microphone needs one or two
constexpr double measurementInterval = 0.1;  // seconds

/// libpulse's clock is CLOCK_MONOTONIC, too.
double now() {
    return static_cast<double>(pa_rtclock_now()) / usPerSecond;
}

std::size_t bytesPerFrame(const AudioFormat& format) {
    return sizeof(float) * static_cast<std::size_t>(format.channels);
}

pa_sample_spec specOf(const AudioFormat& format) {
    return {.format = PA_SAMPLE_FLOAT32NE,
            .rate = static_cast<std::uint32_t>(format.sampleRate),
            .channels = static_cast<std::uint8_t>(format.channels)};
}

}  // namespace

bool SampleClock::measure(double time, double sample) {
    const double origin = time - sample / sampleRate_, error = origin - origin_;
    const bool isStray = count_ > 0 && std::abs(error) > largestError;
    strays_ = isStray ? strays_ + 1 : 0;
    if (isStray && strays_ < provenAfter) return false;
    if (isStray) count_ = strays_ = 0;
    ++count_;
    // At first the mean of the measurements, then an exponential average. The first is taken as it is.
    const double elapsed = std::max(0.0, time - measuredAt_);
    origin_ += error * std::max(1.0 / count_, elapsed / (elapsed + timeConstant));
    measuredAt_ = time;
    return true;
}

double SampleClock::timeOf(std::uint64_t sample) const {
    return origin_ + static_cast<double>(sample) / sampleRate_;
}

void PulseStream::StreamDeleter::operator()(pa_stream* stream) const noexcept {
    pa_stream_set_state_callback(stream, nullptr, nullptr);
    pa_stream_set_read_callback(stream, nullptr, nullptr);
    pa_stream_set_latency_update_callback(stream, nullptr, nullptr);
    pa_stream_disconnect(stream);
    pa_stream_unref(stream);
}

PulseStream::PulseStream(std::optional<std::string> microphone, const AudioFormat& format,
                         const std::stop_token& stop)
    : microphone_(std::move(microphone)), format_(format), connection_(stop), clock_(format.sampleRate) {}

PulseStream::~PulseStream() {
    stop();
}

void PulseStream::start(BlockHandler block, EndHandler ended) {
    const PulseConnection::Lock lock(connection_);
    block_ = std::move(block);
    ended_ = std::move(ended);
    phase_ = Phase::opening;
    connection_.setLossHandler([this] {
        fail(PlatformError::Kind::notReachable, "the audio server is gone (" + connection_.reason() + ")");
    });
    if (!connection_.isGood())
        fail(PlatformError::Kind::notReachable, "the audio server is gone (" + connection_.reason() + ")");
    else if (microphone_)
        open(*microphone_);
    else
        subscribe();
    if (!connection_.waitUntil([this] { return phase_ != Phase::opening; }, longestOpening))
        fail(PlatformError::Kind::notReachable, name() + " does not begin to record; try again");
    if (phase_ == Phase::failed) throw PlatformError(*failure_);
}

void PulseStream::stop() noexcept {
    const PulseConnection::Lock lock(connection_);
    phase_ = Phase::stopped;
    connection_.setLossHandler(nullptr);
    stream_.reset();
}

void PulseStream::subscribe() {
    pa_context_set_subscribe_callback(
        connection_.context(),
        [](pa_context*, pa_subscription_event_type_t, std::uint32_t, void* self) {
            static_cast<PulseStream*>(self)->findOutput();
        },
        this);
    // Changes of the server itself, such as its default devices. If it cannot report them, none are followed.
    if (pa_operation* request =
            pa_context_subscribe(connection_.context(), PA_SUBSCRIPTION_MASK_SERVER, nullptr, nullptr))
        pa_operation_unref(request);
    findOutput();
}

void PulseStream::findOutput() {
    if (phase_ != Phase::opening && phase_ != Phase::running) return;
    pa_operation* request = pa_context_get_sink_info_by_name(
        connection_.context(), "@DEFAULT_SINK@",
        [](pa_context*, const pa_sink_info* output, int isEnd, void* data) {
            auto& self = *static_cast<PulseStream*>(data);
            if (isEnd < 0 && self.connection_.isGood())
                self.fail(PlatformError::Kind::notFound,
                          "there is no audio output (" + self.connection_.reason() + "); connect one");
            if (isEnd == 0) self.follow(output);
        },
        this);
    if (request)
        pa_operation_unref(request);
    else
        fail(PlatformError::Kind::failed, "the audio server does not name its output: " + connection_.reason());
}

void PulseStream::follow(const pa_sink_info* output) {
    if (phase_ != Phase::opening && phase_ != Phase::running) return;
    if (!output->monitor_source_name)
        fail(PlatformError::Kind::unsupported,
             std::string("what the output ") + output->name + " plays cannot be recorded; choose another output");
    else if (!stream_ || source_ != output->monitor_source_name)
        open(output->monitor_source_name);
}

void PulseStream::open(const std::string& source) {
    const pa_sample_spec spec = specOf(format_);
    stream_.reset(pa_stream_new(connection_.context(), "Recording", &spec, nullptr));
    if (!stream_)
        return fail(PlatformError::Kind::failed, "cannot record " + name() + ": " + connection_.reason());
    source_ = source;
    isReady_ = false;
    clock_ = SampleClock(format_.sampleRate);
    position_ = 0;
    measurementDue_ = 0;
    pa_stream_set_state_callback(
        stream_.get(), [](pa_stream*, void* self) { static_cast<PulseStream*>(self)->changed(); }, this);
    pa_stream_set_read_callback(
        stream_.get(), [](pa_stream*, std::size_t, void* self) { static_cast<PulseStream*>(self)->read(); }, this);
    pa_stream_set_latency_update_callback(
        stream_.get(), [](pa_stream*, void* self) { static_cast<PulseStream*>(self)->measure(); }, this);
    constexpr auto chosenByServer = static_cast<std::uint32_t>(-1);
    const pa_buffer_attr sizes{
        .maxlength = chosenByServer,
        .tlength = chosenByServer,
        .prebuf = chosenByServer,
        .minreq = chosenByServer,
        .fragsize = static_cast<std::uint32_t>(pa_bytes_per_second(&spec) / blocksPerSecond),
    };
    constexpr auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE);
    if (pa_stream_connect_record(stream_.get(), source.c_str(), &sizes, flags) < 0)
        fail(PlatformError::Kind::failed, "cannot record " + name() + ": " + connection_.reason());
}

void PulseStream::changed() {
    const pa_stream_state_t state = pa_stream_get_state(stream_.get());
    if (state == PA_STREAM_READY) {
        isReady_ = true;
        phase_ = Phase::running;
        connection_.signal();
    }
    if (PA_STREAM_IS_GOOD(state) || !connection_.isGood()) return;  // the connection reports a lost server
    const int error = pa_context_errno(connection_.context());
    const bool isUnknown = error == PA_ERR_NOENTITY || error == PA_ERR_INVALID;  // an impossible name is "invalid"
    const bool wasOutput = isReady_ || (phase_ == Phase::running && isUnknown);  // gone, perhaps before it opened
    if (wasOutput && !microphone_) {
        stream_.reset();
        findOutput();
    } else if (isReady_) {
        fail(PlatformError::Kind::notFound, name() + " is gone (" + connection_.reason() + ")");
    } else if (microphone_ && isUnknown) {
        fail(PlatformError::Kind::notFound, "no microphone named \"" + *microphone_ + "\"; choose another one");
    } else {
        fail(PlatformError::Kind::failed, "cannot record " + name() + ": " + connection_.reason());
    }
}

void PulseStream::read() {
    // The samples wait in the stream until the server has answered when the first were heard.
    if (phase_ != Phase::running) return;
    if (now() >= measurementDue_) requestMeasurement();
    if (!clock_.isSet()) return;
    for (;;) {
        const void* data = nullptr;
        std::size_t sizeBytes = 0;
        if (pa_stream_peek(stream_.get(), &data, &sizeBytes) < 0 || sizeBytes == 0) return;
        const std::size_t frames = sizeBytes / bytesPerFrame(format_);
        // Without data, samples were lost; the time of the next block shows it.
        if (data)
            block_(
                {.time = clock_.timeOf(position_), .samples = static_cast<const float*>(data), .frames = frames});
        position_ += frames;
        pa_stream_drop(stream_.get());
    }
}

/// The server has reported its position. libpulse's own figure for that (pa_stream_get_latency) is not used: it
/// was wrong by 18 ms for the first 50 ms of an output's audio, as it does not allow for samples that are heard
/// later.
void PulseStream::measure() {
    const pa_timing_info* info = pa_stream_get_timing_info(stream_.get());
    // It means nothing before there are samples: a device may take a while to begin.
    if (!info || info->write_index_corrupt != 0 || info->write_index <= 0) return;
    const double written = static_cast<double>(info->write_index) / static_cast<double>(bytesPerFrame(format_));
    // Recorded but not yet written; what an output plays is written before it is heard.
    const double waiting =
        (static_cast<double>(info->source_usec) - static_cast<double>(info->sink_usec)) / usPerSecond;
    const double transport = static_cast<double>(info->transport_usec) / usPerSecond;
    if (!clock_.measure(now() - transport, written + waiting * format_.sampleRate)) requestMeasurement();
    read();
}

void PulseStream::requestMeasurement() {
    measurementDue_ = now() + measurementInterval;
    if (pa_operation* request = pa_stream_update_timing_info(stream_.get(), nullptr, nullptr))
        pa_operation_unref(request);
}

void PulseStream::fail(PlatformError::Kind kind, const std::string& problem) {
    if (phase_ != Phase::opening && phase_ != Phase::running) return;
    const bool hasRun = phase_ == Phase::running;
    phase_ = hasRun ? Phase::ended : Phase::failed;
    failure_.emplace(kind, problem);
    stream_.reset();
    connection_.signal();
    if (hasRun) ended_(problem);
}

std::string PulseStream::name() const {
    return microphone_ ? "the microphone " + *microphone_ : "the system audio";
}

}  // namespace lumenwhirl
