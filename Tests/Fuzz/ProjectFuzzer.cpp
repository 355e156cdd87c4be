#include "Tests/Fuzz/Models.h"

namespace {

using namespace lumenwhirl;

/// A log with one of everything whose look a project can change.
EventLog someEvents() {
    EventLog events;
    events.recording.display = {.pixelWidth = 640, .pixelHeight = 360, .pointWidth = 640, .pointHeight = 360};
    for (int i = 0; i < 100; ++i) events.cursor.push_back({i * 0.05, 3.0 * i, 200 - i * 1.5});
    events.clicks = {{1, 60, 170, MouseButton::left, ClickPhase::down},
                     {1.1, 66, 167, MouseButton::left, ClickPhase::up}};
    events.scroll = {{2, 120, 140, 0, -3}};
    events.keys = {{3, 1, "s", {"cmd"}, false}};
    return events;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const EventLog events = someEvents();
    if (const auto project = fuzz::decodeAndRepeat<ProjectSettings>(data, size))
        fuzz::checkModels(events, *project);
    return 0;
}
