#pragma once

#include <functional>
#include <memory>
#include <stop_token>
#include <string>

#include <pulse/pulseaudio.h>

namespace lumenwhirl {

/// A connection to the user's audio server, with the thread that libpulse calls back on. Callbacks must not throw.
class PulseConnection {
public:
    /// Waits for the server's answer. Throws PlatformError (notReachable), also where a wait here or below is too
    /// long or `stop` is requested.
    explicit PulseConnection(const std::stop_token& stop = {});
    /// Waits for a running callback; none follows. Not from a callback.
    ~PulseConnection();
    PulseConnection(const PulseConnection&) = delete;
    PulseConnection& operator=(const PulseConnection&) = delete;

    /// Callbacks run with this lock held. Everything below, and every call of libpulse, needs it.
    class Lock {
    public:
        explicit Lock(const PulseConnection& connection) : loop_(connection.loop_.get()) {
            pa_threaded_mainloop_lock(loop_);
        }
        ~Lock() { pa_threaded_mainloop_unlock(loop_); }
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

    private:
        pa_threaded_mainloop* loop_;
    };

    [[nodiscard]] pa_context* context() const noexcept { return context_.get(); }
    /// False once the server is gone.
    [[nodiscard]] bool isGood() const { return PA_CONTEXT_IS_GOOD(pa_context_get_state(context_.get())); }
    /// libpulse's words for the last error.
    [[nodiscard]] std::string reason() const;
    /// Called when the server is gone.
    void setLossHandler(std::function<void()> lost) { lost_ = std::move(lost); }

    /// Releases the lock until a callback has signalled that something is done. False when that takes longer than
    /// so many seconds, or when it is time to stop.
    [[nodiscard]] bool waitUntil(const std::function<bool()>& isDone, double seconds) const;
    /// Releases the lock until a callback signals.
    void wait() const { pa_threaded_mainloop_wait(loop_.get()); }
    void signal() const { pa_threaded_mainloop_signal(loop_.get(), 0); }
    /// Waits until the request is answered; its callback must signal. Throws PlatformError: notReachable when the
    /// server is gone, else failed.
    void waitFor(pa_operation* request) const;

private:
    struct LoopDeleter {
        void operator()(pa_threaded_mainloop* loop) const noexcept { pa_threaded_mainloop_free(loop); }
    };
    struct ContextDeleter {
        void operator()(pa_context* context) const noexcept { pa_context_unref(context); }
    };
    static constexpr double patience = 2;  // seconds for an answer; a server that works needs milliseconds
    void disconnect() noexcept;
    [[nodiscard]] std::string delay() const;

    std::function<void()> lost_;
    std::unique_ptr<pa_threaded_mainloop, LoopDeleter> loop_;
    std::unique_ptr<pa_context, ContextDeleter> context_;
    const std::stop_token stop_;
    std::stop_callback<std::function<void()>> stopping_;  // last: it is called until it goes away
};

}  // namespace lumenwhirl
