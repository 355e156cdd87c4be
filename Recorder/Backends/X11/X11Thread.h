#pragma once

#include "Recorder/Backends/X11/X11Connection.h"

#include <functional>
#include <future>
#include <limits>
#include <thread>

namespace lumenwhirl {

/// A thread that serves a connection. It waits for a deadline or for the server, and can be woken to stop.
class X11Thread {
public:
    /// Throws PlatformError when the system has no descriptor left.
    X11Thread();
    ~X11Thread();
    X11Thread(const X11Thread&) = delete;
    X11Thread& operator=(const X11Thread&) = delete;

    /// Once. Runs `work` on the thread; it must not throw.
    void start(std::function<void()> work);
    /// Ends the thread and returns when `work` has. After `patience` seconds the connection is shut down: a server
    /// that hangs, or that another program has grabbed, must not hold up the end of a recording. May be called
    /// again, and before start().
    void stop(const X11Connection* connection, double patience) noexcept;

    // For `work`: both return true as soon as it should stop.
    /// False at that time of the host clock.
    [[nodiscard]] bool waitUntil(double time) const { return wait(-1, time); }
    /// False as soon as the connection has something to read, or at that time.
    [[nodiscard]] bool waitForInput(const X11Connection& connection,
                                    double until = std::numeric_limits<double>::infinity()) const {
        return wait(connection.descriptor(), until);
    }

private:
    [[nodiscard]] bool wait(int descriptor, double until) const;

    int stopEvent_ = -1;  // readable once it should stop
    std::future<void> ended_;
    std::jthread thread_;
};

}  // namespace lumenwhirl
