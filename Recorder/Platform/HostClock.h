#pragma once

#include <stop_token>

namespace lumenwhirl {

/// The clock behind every time in a recording, of pictures, sound and input alike: CLOCK_MONOTONIC in seconds,
/// which is also what the X server and the sound server stamp with. Any thread may ask.
class HostClock {
public:
    virtual ~HostClock() = default;
    [[nodiscard]] virtual double now() const = 0;
    /// Blocks for so long, or until `stop` asks.
    virtual void sleep(double seconds, const std::stop_token& stop) = 0;
};

/// The real one.
class SystemClock final : public HostClock {
public:
    [[nodiscard]] double now() const override;
    void sleep(double seconds, const std::stop_token& stop) override;
};

}  // namespace lumenwhirl
