#include "Recorder/Backends/Pulse/PulseConnection.h"

#include "Recorder/Platform/PlatformError.h"

#include <new>

namespace lumenwhirl {
namespace {

template <class Handle>
Handle* orOutOfMemory(Handle* handle) {
    return handle ? handle : throw std::bad_alloc();
}

}  // namespace

PulseConnection::PulseConnection(const std::stop_token& stop)
    : loop_(orOutOfMemory(pa_threaded_mainloop_new())), stop_(stop), stopping_(stop, [this] {
          const Lock lock(*this);
          signal();
      }) {
    context_.reset(orOutOfMemory(pa_context_new(pa_threaded_mainloop_get_api(loop_.get()), "Lumenwhirl")));
    pa_context_set_state_callback(
        context_.get(),
        [](pa_context*, void* data) {
            auto& self = *static_cast<PulseConnection*>(data);
            self.signal();
            if (!self.isGood() && self.lost_) self.lost_();
        },
        this);
    if (pa_threaded_mainloop_start(loop_.get()) < 0)
        throw PlatformError(PlatformError::Kind::failed, "cannot start a thread for audio");
    bool isReady = false;
    std::string problem;
    {
        const Lock lock(*this);
        const auto isAnswered = [this] {
            return !isGood() || pa_context_get_state(context_.get()) == PA_CONTEXT_READY;
        };
        const bool hasWaited = pa_context_connect(context_.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0 ||
                               waitUntil(isAnswered, patience);
        isReady = pa_context_get_state(context_.get()) == PA_CONTEXT_READY;
        if (!isReady) problem = hasWaited ? reason() : delay();
    }
    if (isReady) return;
    disconnect();
    throw PlatformError(
        PlatformError::Kind::notReachable,
        "no audio server answers (" + problem + "); start PulseAudio or PipeWire, or record without audio");
}

PulseConnection::~PulseConnection() {
    disconnect();
}

void PulseConnection::disconnect() noexcept {
    {
        const Lock lock(*this);
        pa_context_set_state_callback(context_.get(), nullptr, nullptr);
        pa_context_disconnect(context_.get());
    }
    pa_threaded_mainloop_stop(loop_.get());
}

std::string PulseConnection::reason() const {
    return pa_strerror(pa_context_errno(context_.get()));
}

/// Why a wait has ended without an answer.
std::string PulseConnection::delay() const {
    return stop_.stop_requested() ? "Cancelled" : "It hangs";
}

bool PulseConnection::waitUntil(const std::function<bool()>& isDone, double seconds) const {
    struct Alarm {
        const PulseConnection& connection;
        bool hasRung = false;
    } alarm{*this};
    pa_time_event* const timer = pa_context_rttime_new(
        context_.get(), pa_rtclock_now() + static_cast<pa_usec_t>(seconds * PA_USEC_PER_SEC),
        [](pa_mainloop_api*, pa_time_event*, const timeval*, void* data) {
            auto& rung = *static_cast<Alarm*>(data);
            rung.hasRung = true;
            rung.connection.signal();
        },
        &alarm);
    while (!isDone() && !alarm.hasRung && !stop_.stop_requested()) wait();
    pa_threaded_mainloop_get_api(loop_.get())->time_free(timer);
    return isDone();
}

void PulseConnection::waitFor(pa_operation* request) const {
    if (request) {
        const auto isDone = [&] { return !isGood() || pa_operation_get_state(request) != PA_OPERATION_RUNNING; };
        const bool isAnswered = waitUntil(isDone, patience);
        if (!isAnswered) pa_operation_cancel(request);
        pa_operation_unref(request);
        if (!isAnswered)
            throw PlatformError(PlatformError::Kind::notReachable,
                                "the audio server does not answer (" + delay() + "); try again");
    }
    if (!isGood())
        throw PlatformError(PlatformError::Kind::notReachable,
                            "the audio server is gone (" + reason() + "); try again");
    if (!request)
        throw PlatformError(PlatformError::Kind::failed, "the audio server rejects a request: " + reason());
}

}  // namespace lumenwhirl
