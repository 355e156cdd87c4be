#include "Recorder/Backends/X11/StopEvent.h"

#include "Recorder/Platform/HostClock.h"
#include "Recorder/Platform/PlatformError.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <string>

namespace lumenwhirl {

StopEvent::StopEvent() : descriptor_(eventfd(0, EFD_CLOEXEC)) {
    if (descriptor_ < 0)
        throw PlatformError(PlatformError::Kind::failed,
                            std::string("cannot make an event: ") + std::strerror(errno));
}

StopEvent::~StopEvent() {
    close(descriptor_);
}

void StopEvent::set() noexcept {
    eventfd_write(descriptor_, 1);  // can only fail after 2^64 times
}

bool StopEvent::waitUntil(double time) const {
    return waitForInputUntil(-1, time);
}

bool StopEvent::waitForInputUntil(int descriptor, double time) const {
    const SystemClock clock;
    std::array<pollfd, 2> waiting{{{descriptor_, POLLIN, 0}, {descriptor, POLLIN, 0}}};  // -1 is left out
    for (;;) {
        const double left = std::max(time - clock.now(), 0.0);
        timespec limit{};
        limit.tv_sec = static_cast<std::time_t>(left);
        limit.tv_nsec = static_cast<long>((left - std::floor(left)) * 1e9);
        const int count = ppoll(waiting.data(), waiting.size(), &limit, nullptr);
        if (count > 0) return waiting[0].revents != 0;
        if (count == 0 && clock.now() >= time) return false;
    }
}

bool StopEvent::waitForInput(int descriptor) const {
    std::array<pollfd, 2> waiting{{{descriptor_, POLLIN, 0}, {descriptor, POLLIN, 0}}};
    while (poll(waiting.data(), waiting.size(), -1) <= 0) {
    }
    return waiting[0].revents != 0;
}

}  // namespace lumenwhirl
