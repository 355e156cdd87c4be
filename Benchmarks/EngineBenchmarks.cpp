#include "Engine/Documents/LumenwhirlJSON.h"
#include "Engine/Motion/CameraModel.h"
#include "Engine/Motion/CursorRenderModel.h"
#include "Engine/Overlays/CaptionsModel.h"
#include "Engine/Overlays/KeystrokeModel.h"
#include "Engine/Timeline/EditTimeline.h"
#include "Recorder/Package/LumenwhirlPackage.h"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace lumenwhirl {
namespace {

constexpr double hour = 3600;
constexpr Size frame{2880, 1800};

/// An hour with 120 moves per second and 20,000 clicks, scrolls and keys each: about 40 MB of text.
EventLog hourLog() {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> jitter(-2, 2);
    EventLog log;
    log.recording = {81234.56789, 60, {1, 2880, 1800, 1440, 900, 2, 0, 0}};
    const auto place = [&](double t) {
        return Point{1440 + 1200 * std::sin(t / 3) + jitter(random), 900 + 700 * std::cos(t / 5) + jitter(random)};
    };
    for (int index = 0; index < 432'000; ++index) {
        const double t = index / 120.0 + jitter(random) / 2000;
        const Point point = place(t);
        log.cursor.push_back({t, point.x, point.y});
    }
    for (int index = 0; index < 20'000; ++index) {
        const double t = index * 0.18;
        const Point point = place(t);
        const ClickPhase phase = index % 2 == 0 ? ClickPhase::down : ClickPhase::up;
        log.clicks.push_back({t, point.x, point.y, MouseButton::left, phase});
        log.scroll.push_back({t, point.x, point.y, 0, -1});
        log.keys.push_back({t, index % 50, "s", {"cmd"}, false});
    }
    return log;
}

ProjectSettings hourProject() {
    ProjectSettings project = ProjectSettings::makeDefault(hour, true, false);
    for (int index = 0; index < 600; ++index)
        project.zoom.segments.push_back(
            {"auto-" + std::to_string(index), index * 6.0, index * 6.0 + 4.5, 2, false});
    project.captions = CaptionSettings{};
    for (int index = 0; index < 2000; ++index)
        project.captions->cues.push_back({index * 1.8, index * 1.8 + 2, "what was said just then"});
    return project;
}

/// The cursor, camera, key and caption models of a recording, with the timings of an export.
struct Models {
    Models(const EventLog& log, const ProjectSettings& project)
        : cursor(log, project.cursor, 0.4, 0.6),
          camera(project.zoom.segments, cursor, frame, 0.6, 0.6, 1),
          keys(log, true, 1.2, 0.4, 4),
          captions(project.captions->cues) {}
    CursorRenderModel cursor;
    CameraModel camera;
    KeystrokeModel keys;
    CaptionsModel captions;
};

/// Made once for all benchmarks that only read it.
const Models& hourModels() {
    static const Models models(hourLog(), hourProject());
    return models;
}

/// Calls `query` with times from all over `duration`, each far from the previous one.
template <class Query>
void queryAllOver(benchmark::State& state, double duration, Query query) {
    std::vector<double> times(4096);
    std::mt19937 random(2);
    for (double& t : times) t = std::uniform_real_distribution<double>(0, duration)(random);
    std::size_t next = 0;
    for (auto _ : state) {
        auto answer = query(times[next]);
        benchmark::DoNotOptimize(answer);
        next = (next + 1) % times.size();
    }
}

void encodeHour(benchmark::State& state) {
    const EventLog log = hourLog();
    std::size_t bytes = 0;
    for (auto _ : state) bytes += LumenwhirlJSON::encode(log).size();
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}
BENCHMARK(encodeHour)->Unit(benchmark::kMillisecond);

void decodeHour(benchmark::State& state) {
    const std::string text = LumenwhirlJSON::encode(hourLog());  // with room to spare: parsed in place
    for (auto _ : state) benchmark::DoNotOptimize(LumenwhirlJSON::decode<EventLog>(text).cursor.data());
    state.SetBytesProcessed(static_cast<std::int64_t>(text.size()) * state.iterations());
}
BENCHMARK(decodeHour)->Unit(benchmark::kMillisecond);

/// Budget: 250 ms.
void openHourAndBuildModels(benchmark::State& state) {
    const auto folder =
        std::filesystem::temp_directory_path() / ("lumenwhirl-benchmark-" + std::to_string(::getpid()));
    const auto package = LumenwhirlPackage::create("Hour", folder);
    package.writeEvents(hourLog());
    package.writeProject(hourProject());
    for (auto _ : state) {
        const Models models(package.readEvents(), package.readProject());
        benchmark::DoNotOptimize(models.cursor.trajectory().data());
    }
    std::filesystem::remove_all(folder);
}
BENCHMARK(openHourAndBuildModels)->Unit(benchmark::kMillisecond);

void buildHourModels(benchmark::State& state) {
    const EventLog log = hourLog();
    const ProjectSettings project = hourProject();
    for (auto _ : state) benchmark::DoNotOptimize(Models(log, project).cursor.trajectory().data());
}
BENCHMARK(buildHourModels)->Unit(benchmark::kMillisecond);

/// As many cuts as speed ranges, which nest; the argument is their number.
Timeline edit(std::int64_t count) {
    Timeline timeline;
    timeline.duration = static_cast<double>(count);
    for (std::int64_t index = count - 1; index >= 0; --index) {
        const auto start = static_cast<double>(index);
        timeline.cuts.push_back({start + 0.25, start + 0.5});
        timeline.speedRanges.push_back({start + 0.75, timeline.duration - start * 0.25, 2});
    }
    return timeline;
}

void buildTimeline(benchmark::State& state) {
    const Timeline timeline = edit(state.range(0));
    for (auto _ : state) benchmark::DoNotOptimize(EditTimeline(timeline).segments().data());
}
BENCHMARK(buildTimeline)->Arg(10)->Arg(1000)->Arg(100'000)->Unit(benchmark::kMicrosecond);

void queryTimeline(benchmark::State& state) {
    const EditTimeline timeline(edit(state.range(0)));
    queryAllOver(state, timeline.outputDuration(), [&](double t) { return timeline.sourceTimeForOutput(t); });
}
BENCHMARK(queryTimeline)->Arg(10)->Arg(1000)->Arg(100'000);

void queryCursor(benchmark::State& state) {
    queryAllOver(state, hour, [](double t) { return hourModels().cursor.state(t, true); });
}
BENCHMARK(queryCursor);

void queryCamera(benchmark::State& state) {
    queryAllOver(state, hour, [](double t) { return hourModels().camera.state(t); });
}
BENCHMARK(queryCamera);

void queryKeystrokes(benchmark::State& state) {
    queryAllOver(state, hour, [](double t) { return hourModels().keys.pills(t); });
}
BENCHMARK(queryKeystrokes);

void queryCaptions(benchmark::State& state) {
    queryAllOver(state, hour, [](double t) { return hourModels().captions.text(t); });
}
BENCHMARK(queryCaptions);

}  // namespace
}  // namespace lumenwhirl

BENCHMARK_MAIN();
