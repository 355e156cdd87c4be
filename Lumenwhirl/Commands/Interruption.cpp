#include "Lumenwhirl/Commands/Interruption.h"

#include <pthread.h>
#include <cerrno>
#include <chrono>
#include <system_error>

namespace lumenwhirl {
namespace {

/// Wakes the watcher so that it can end; nobody else sends it.
const int wakeSignal = SIGRTMIN;

/// timeout(1) sends its signal both to us and to our group, and a wrapper may pass on a Ctrl-C that has reached us
/// too: signals so soon after the first are the same request.
constexpr std::chrono::milliseconds sameRequest{500};

/// Consumes the signals that arrive within that time; returns early at the wake signal.
void takeEchoes(const sigset_t& signals) {
    using Clock = std::chrono::steady_clock;
    using std::chrono::nanoseconds;
    const auto end = Clock::now() + sameRequest;
    for (auto left = nanoseconds(sameRequest); left.count() > 0; left = end - Clock::now()) {
        const timespec wait{.tv_sec = 0, .tv_nsec = left.count()};
        if (sigtimedwait(&signals, nullptr, &wait) == wakeSignal) return;
    }
}

bool isIgnored(int signal) {
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

Interruption::Interruption() {
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGINT);
    sigaddset(&signals_, SIGTERM);
    if (!isIgnored(SIGHUP)) sigaddset(&signals_, SIGHUP);
    sigaddset(&signals_, wakeSignal);
    if (const int error = pthread_sigmask(SIG_BLOCK, &signals_, &formerMask_))
        throw std::system_error(error, std::generic_category(), "cannot block signals");
    formerPipeAction_ = std::signal(SIGPIPE, SIG_IGN);
    watcher_ = std::jthread([this](const std::stop_token& end) { watch(end); });
}

Interruption::~Interruption() {
    watcher_.request_stop();
    pthread_kill(watcher_.native_handle(), wakeSignal);
    watcher_.join();
    std::signal(SIGPIPE, formerPipeAction_);
    pthread_sigmask(SIG_SETMASK, &formerMask_, nullptr);
}

void Interruption::watch(const std::stop_token& end) {
    while (!end.stop_requested()) {
        int signal = 0;
        if (sigwait(&signals_, &signal) != 0 || signal == wakeSignal) continue;
        stop_.request_stop();
        takeEchoes(signals_);
        // From now on this thread accepts the signals in the default way, so that the next one ends the process.
        sigset_t released = signals_;
        sigdelset(&released, wakeSignal);
        sigdelset(&signals_, SIGINT);
        sigdelset(&signals_, SIGTERM);
        sigdelset(&signals_, SIGHUP);
        pthread_sigmask(SIG_UNBLOCK, &released, nullptr);
    }
}

}  // namespace lumenwhirl
