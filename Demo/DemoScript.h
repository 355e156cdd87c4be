#pragma once

#include "Engine/Documents/EventLog.h"
#include "Engine/Documents/ProjectSettings.h"

#include <cstdint>
#include <vector>

namespace lumenwhirl::demo {

/// What somebody does at the desktop and says meanwhile.
struct DemoScript {
    EventLog log;
    std::vector<CaptionCue> cues;  // in order, apart from each other
};

/// Lets an invented person work for `seconds`: rounds of twelve seconds, of which each adds a task to the board,
/// reads and publishes the programme and changes the desktop's appearance from the keyboard. `seed` decides the
/// hand's ways and timing and some of the choices. Clicks come in two groups a round, far enough apart in time
/// that an automatic zoom leaves between them; then the hand rests long enough for the pointer to hide.
///
/// The log's size grows with the length: about 60 kB a minute in memory.
[[nodiscard]] DemoScript writeDemoScript(double seconds, int pixelWidth, int pixelHeight, int fps,
                                         std::uint64_t seed);

}  // namespace lumenwhirl::demo
