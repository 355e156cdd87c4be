#pragma once

#include <stop_token>

namespace lumenwhirl {

/// The clock of every time in a recording, of frames, audio and input alike: CLOCK_MONOTONIC in seconds, which the
/// X server and the audio server use for their time stamps, too. Any thread.
class HostClock {
public:
    virtual ~HostClock() = default;
    [[nodiscard]] virtual double now() const = 0;
    /// Blocks for so long, or until `stop` is requested.
    virtual void sleep(double seconds, const std::stop_token& stop) = 0;
};

/// The real one.
class SystemClock final : public HostClock {
public:
    [[nodiscard]] double now() const override;
    void sleep(double seconds, const std::stop_token& stop) override;
};

}  // namespace lumenwhirl
