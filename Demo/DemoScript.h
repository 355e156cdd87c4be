#pragma once

#include "Engine/Documents/EventLog.h"
#include "Engine/Documents/ProjectSettings.h"

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace lumenwhirl::demo {

/// What somebody does at the desktop and says meanwhile.
struct DemoScript {
    EventLog log;
    std::vector<CaptionCue> cues;  // in order, apart from each other
};

/// Lets an invented person work for `seconds`: rounds of twelve seconds, each of which adds a task to the board,
/// reads and publishes the programme, and changes the desktop's appearance from the keyboard. `seed` decides the
/// hand's movements and timing and some of the choices. Clicks come in two groups a round, far enough apart in
/// time that an automatic zoom leaves between them; then the hand rests long enough for the pointer to hide.
///
/// The log grows with the length, by about 60 kB a minute in memory.
[[nodiscard]] DemoScript writeDemoScript(double seconds, int pixelWidth, int pixelHeight, int fps,
                                         std::uint64_t seed);

/// Random numbers that are the same on every system: the standard fixes the engine, but not its distributions.
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
