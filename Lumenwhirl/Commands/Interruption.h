#pragma once

#include <csignal>
#include <stop_token>
#include <thread>

namespace lumenwhirl {

/// While it exists, SIGINT, SIGTERM and SIGHUP (unless ignored, as under nohup) request a stop instead of ending
/// the process, so that work can be ended cleanly. A second one, at least half a second later, ends the process at
/// once. When the reader of standard output goes away, writing fails; there is no signal.
///
/// At most one at a time. Create it on the main thread before all threads that work under it, which inherit the
/// blocked signals, and destroy it after them.
class Interruption {
public:
    /// Throws std::system_error.
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    [[nodiscard]] std::stop_token token() const { return stop_.get_token(); }
    /// Requests the stop without a signal.
    void requestStop() { stop_.request_stop(); }

private:
    void watch(const std::stop_token& end);

    std::stop_source stop_;
    sigset_t signals_{}, formerMask_{};
    void (*formerPipeAction_)(int) = nullptr;
    std::jthread watcher_;  // last, so it is joined before what it uses goes away
};

}  // namespace lumenwhirl
