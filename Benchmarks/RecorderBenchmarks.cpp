#include "Recorder/CapturedFrameConverter.h"
#include "Recorder/EventTap.h"
#include "Recorder/Package/EventJournal.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace lumenwhirl {
namespace {

namespace fs = std::filesystem;

const RecordingInfo info{81234.56789, 60, {1, 2880, 1800, 1440, 900, 2, 0, 0}};

class TemporaryPackage {
public:
    TemporaryPackage() {
        std::string name = (fs::temp_directory_path() / "lumenwhirl-bench-XXXXXX").string();
        if (!::mkdtemp(name.data())) throw std::runtime_error("cannot create " + name);
        path_ = name;
    }
    ~TemporaryPackage() { fs::remove_all(path_); }
    TemporaryPackage(const TemporaryPackage&) = delete;
    TemporaryPackage& operator=(const TemporaryPackage&) = delete;
    [[nodiscard]] const fs::path& path() const { return path_; }

private:
    fs::path path_;
};

/// Delivers what the benchmark hands it.
class ScriptedInput final : public InputStream {
public:
    explicit ScriptedInput(Handler& handler) : handler_(handler) {}
    void start(Handler handler) override { handler_ = std::move(handler); }
    void stop() noexcept override {}

private:
    Handler& handler_;
};

/// A move, from the stream's delivery to its line in the journal.
void logCursorSample(benchmark::State& state) {
    const TemporaryPackage package;
    EventJournal journal(package.path(), info);
    InputStream::Handler handler;
    EventTap tap(info.display, info.startHostTime, 120, std::make_unique<ScriptedInput>(handler), &journal);
    if (!tap.start()) throw std::runtime_error("the tap did not start");
    InputEvent event;
    double t = 0;
    for (auto _ : state) {
        t += 1 / 119.0;
        event.time = info.startHostTime + t;
        event.position = {720 + 600.123 * std::sin(t), 450 + 400.123 * std::cos(t)};
        handler(event);
    }
    if (tap.stop().cursor.size() != static_cast<std::size_t>(state.iterations()) || journal.failure())
        throw std::runtime_error("an event was lost");
}
BENCHMARK(logCursorSample);

/// Recovering the journal of an hour: 432,000 moves and 20,000 keys.
void readJournalOfAnHour(benchmark::State& state) {
    const TemporaryPackage package;
    EventJournal journal(package.path(), info);
    for (int index = 0; index < 432'000; ++index) {
        const double t = index / 120.0;
        journal.append(CursorSample{t, 1440 + 1200 * std::sin(t), 900 + 700 * std::cos(t)});
        if (index % 22 == 0) journal.append(KeyEvent{t, index % 50, "s", {"cmd"}, false});
    }
    for (auto _ : state) benchmark::DoNotOptimize(EventJournal::read(package.path()));
}
BENCHMARK(readJournalOfAnHour)->Unit(benchmark::kMillisecond);

/// Converting a captured frame to the encoder's planes, which a window that was enlarged does not fit.
void convertFrame(benchmark::State& run, int width, int height, int shrink = 1) {
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
    std::uint32_t noise = 1;
    for (auto& byte : pixels) byte = static_cast<std::uint8_t>((noise = noise * 1664525 + 1013904223) >> 24);
    CapturedFrame frame;
    frame.pixels = pixels.data();
    frame.stride = std::ptrdiff_t{4} * width;
    frame.width = width;
    frame.height = height;
    CapturedFrameConverter converter;
    Picture out(width / shrink, height / shrink, PixelFormat::yuv420p8);
    for (auto _ : run) {
        converter.convert(frame, out);
        benchmark::DoNotOptimize(out.plane(0));
    }
}
BENCHMARK_CAPTURE(convertFrame, 1080p, 1920, 1080)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convertFrame, 4K, 3840, 2160)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convertFrame, enlargedTo1080p, 1920, 1080, 2)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace lumenwhirl

BENCHMARK_MAIN();
