#include "Recorder/CapturedFrameConverter.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumenwhirl {
namespace {

/// A captured picture into the encoder's planes.
void convertFrame(benchmark::State& run, int width, int height) {
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
    std::uint32_t noise = 1;
    for (auto& byte : pixels) byte = static_cast<std::uint8_t>((noise = noise * 1664525 + 1013904223) >> 24);
    CapturedFrame frame;
    frame.pixels = pixels.data();
    frame.stride = std::ptrdiff_t{4} * width;
    frame.width = width;
    frame.height = height;
    CapturedFrameConverter converter;
    VideoFrame out = VideoFrame::allocate(width, height, PixelFormat::yuv420p8);
    for (auto _ : run) {
        converter.convert(frame, out);
        benchmark::DoNotOptimize(out.plane(0));
    }
}
BENCHMARK_CAPTURE(convertFrame, 1080p, 1920, 1080)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convertFrame, 4K, 3840, 2160)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace lumenwhirl

BENCHMARK_MAIN();
