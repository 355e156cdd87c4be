#include "Recorder/Backends/X11/X11Thread.h"

#include "Recorder/Platform/HostClock.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <ctime>
#include <string>
#include <utility>

namespace lumenwhirl {

X11Thread::X11Thread() : stopEvent_(eventfd(0, EFD_CLOEXEC)) {
    if (stopEvent_ < 0)
        throw PlatformError(PlatformError::Kind::failed,
                            std::string("cannot make an event: ") + std::strerror(errno));
}

X11Thread::~X11Thread() {
    close(stopEvent_);
}

void X11Thread::start(std::function<void()> work) {
    std::packaged_task<void()> task(std::move(work));
    ended_ = task.get_future();
    thread_ = std::jthread(std::move(task));
}

void X11Thread::stop(const X11Connection* connection, double patience) noexcept {
    if (!thread_.joinable()) return;
    eventfd_write(stopEvent_, 1);  // fails only after 2^64 calls
    if (ended_.wait_for(std::chrono::duration<double>(patience)) != std::future_status::ready)
        shutdown(connection->descriptor(), SHUT_RDWR);
    thread_.join();
}

bool X11Thread::wait(int descriptor, double until) const {
    const SystemClock clock;
    std::array<pollfd, 2> waiting{{{stopEvent_, POLLIN, 0}, {descriptor, POLLIN, 0}}};  // -1 is ignored
    const bool hasDeadline = std::isfinite(until);
    for (;;) {
        timespec limit{};
        if (hasDeadline) {
            const double left = std::max(until - clock.now(), 0.0);
            limit.tv_sec = static_cast<std::time_t>(left);
            limit.tv_nsec = static_cast<long>((left - std::floor(left)) * 1e9);
        }
        const int count = ppoll(waiting.data(), waiting.size(), hasDeadline ? &limit : nullptr, nullptr);
        if (count > 0) return waiting[0].revents != 0;
        if (count == 0 && clock.now() >= until) return false;
    }
}

}  // namespace lumenwhirl
