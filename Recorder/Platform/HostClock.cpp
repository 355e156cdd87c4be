#include "Recorder/Platform/HostClock.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace lumenwhirl {

double SystemClock::now() const {
    // libstdc++'s steady clock is CLOCK_MONOTONIC.
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void SystemClock::sleep(double seconds, const std::stop_token& stop) {
    std::mutex mutex;
    std::condition_variable_any never;
    std::unique_lock lock(mutex);
    never.wait_for(lock, stop, std::chrono::duration<double>(seconds), [] { return false; });
}

}  // namespace lumenwhirl
