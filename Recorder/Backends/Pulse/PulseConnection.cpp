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

PulseConnection::PulseConnection() : loop_(orOutOfMemory(pa_threaded_mainloop_new())) {
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
        if (pa_context_connect(context_.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) >= 0)
            while (isGood() && pa_context_get_state(context_.get()) != PA_CONTEXT_READY) wait();
        isReady = pa_context_get_state(context_.get()) == PA_CONTEXT_READY;
        if (!isReady) problem = reason();
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

void PulseConnection::waitFor(pa_operation* request) const {
    if (request) {
        while (isGood() && pa_operation_get_state(request) == PA_OPERATION_RUNNING) wait();
        pa_operation_unref(request);
    }
    if (!isGood())
        throw PlatformError(PlatformError::Kind::notReachable,
                            "the audio server is gone (" + reason() + "); try again");
    if (!request)
        throw PlatformError(PlatformError::Kind::failed, "the audio server rejects a request: " + reason());
}

}  // namespace lumenwhirl
