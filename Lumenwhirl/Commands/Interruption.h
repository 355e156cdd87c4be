#pragma once

#include <csignal>
#include <stop_token>
#include <thread>

namespace lumenwhirl {

/// While it lives, SIGINT, SIGTERM and SIGHUP (unless ignored, as under nohup) ask for a stop instead of ending
/// the process, so that work can be put away cleanly; a second one, half a second later or more, ends the process
/// at once. A reader of standard output that goes away is a failed write, not a signal.
///
/// At most one at a time, made and destroyed on the main thread before and after all threads that work under it,
/// for they inherit which signals are held back.
class Interruption {
public:
    /// Throws std::system_error.
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    [[nodiscard]] std::stop_token token() const { return stop_.get_token(); }
    /// Asks for the stop without a signal.
    void requestStop() { stop_.request_stop(); }

private:
    void watch(const std::stop_token& end);

    std::stop_source stop_;
    sigset_t signals_{}, formerMask_{};
    void (*formerPipeAction_)(int) = nullptr;
    std::jthread watcher_;  // last, so it is joined before what it uses goes away
};

}  // namespace lumenwhirl
