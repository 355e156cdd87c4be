#pragma once

#include <cstddef>
#include <cstdint>
#include <random>

namespace lumenwhirl::demo {

/// Random numbers that are the same on every system: the standard fixes the engine, not its distributions.
class Random {
public:
    explicit Random(std::uint64_t seed) : engine_(seed) {}
    [[nodiscard]] double between(double low, double high) {
        return low + (high - low) * (static_cast<double>(engine_() >> 11U) * 0x1p-53);
    }
    [[nodiscard]] std::size_t below(std::size_t count) { return static_cast<std::size_t>(engine_() % count); }

private:
    std::mt19937_64 engine_;
};

}  // namespace lumenwhirl::demo
