#pragma once

namespace lumenwhirl {

/// Tells a thread to stop that waits for a time or for a server. Any thread; stays set.
class StopEvent {
public:
    /// Throws PlatformError when the system has no more of them.
    StopEvent();
    ~StopEvent();
    StopEvent(const StopEvent&) = delete;
    StopEvent& operator=(const StopEvent&) = delete;

    void set() noexcept;
    /// True once it is set; false at that time of CLOCK_MONOTONIC, in seconds.
    [[nodiscard]] bool waitUntil(double time) const;
    /// True once it is set; false as soon as there is something to read.
    [[nodiscard]] bool waitForInput(int descriptor) const;
    /// True once it is set; false at that time, or as soon as there is something to read.
    [[nodiscard]] bool waitForInputUntil(int descriptor, double time) const;

private:
    int descriptor_ = -1;
};

}  // namespace lumenwhirl
