#pragma once

#include <cstdint>

namespace lumenwhirl {

/// When something happened that an X server has stamped, on the host clock. `now`: the host clock after it was
/// told.
///
/// Stamps are milliseconds of the host clock in 32 bits, which come round every 50 days. A server on another
/// machine, or in a container with a time of its own, has another clock: what it says would be days off, and is
/// taken to have happened just now.
[[nodiscard]] inline double hostTimeOf(std::uint32_t stamp, double now) {
    constexpr std::int32_t oldest = -60'000;  // ms: a program that holds the server holds up what it tells
    const auto nowMs = static_cast<std::int64_t>(now * 1000);
    const auto sinceNowMs = static_cast<std::int32_t>(stamp - static_cast<std::uint32_t>(nowMs));
    if (sinceNowMs > 0 || sinceNowMs < oldest) return now;
    return static_cast<double>(nowMs + sinceNowMs) / 1000;
}

}  // namespace lumenwhirl
