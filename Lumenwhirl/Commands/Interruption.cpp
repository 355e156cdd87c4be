#include "Lumenwhirl/Commands/Interruption.h"

#include <pthread.h>
#include <cerrno>
#include <system_error>

namespace lumenwhirl {
namespace {

/// What the watcher is woken with to end; nobody else sends it.
const int wakeSignal = SIGRTMIN;

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
        throw std::system_error(error, std::generic_category(), "signals cannot be held back");
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
        // From here on this thread takes the signals the usual way, so the next one ends the process.
        sigset_t released = signals_;
        sigdelset(&released, wakeSignal);
        sigdelset(&signals_, SIGINT);
        sigdelset(&signals_, SIGTERM);
        sigdelset(&signals_, SIGHUP);
        pthread_sigmask(SIG_UNBLOCK, &released, nullptr);
    }
}

}  // namespace lumenwhirl
