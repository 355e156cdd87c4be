#include "Compositor/FrameCompositor.h"
#include "Compositor/StyleResolver.h"
#include "Pixels/Image.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <cstdint>

namespace lumenwhirl {
namespace {

Picture textLikePicture(int width, int height, std::uint32_t seed = 1) {
    Picture picture(width, height, PixelFormat::yuv420p8);
    std::uint32_t state = seed;
    for (const Plane<std::uint8_t>& plane : picture.mutablePlanes().planes) {
        for (int y = 0; y < plane.height; ++y) {
            for (int x = 0; x < plane.width; ++x) {
                state = state * 1664525 + 1013904223;
                plane.row(y)[x] = (state >> 28) < 3 && y % 20 < 12 ? 40 : 220;
            }
        }
    }
    return picture;
}

Size sizeOf(const Picture& picture) {
    return {static_cast<double>(picture.width()), static_cast<double>(picture.height())};
}

/// Everything on, everything moving: decoded planes to encoder planes.
void finishedFrame(benchmark::State& run, int width, int height, double zoom) {
    // Two that differ in every row, so that nothing of the frame before can be kept.
    const std::array frames{textLikePicture(width, height, 1), textLikePicture(width, height, 2)};
    const Size size = sizeOf(frames[0]);
    const auto compositor = FrameCompositor::make(PixelFormat::yuv420p8);
    compositor->prepare(StyleResolver::resolve(Style(), size), size, size);
    FrameState state;
    state.keystrokes = {{"⇧⌘S", 1}, {"⌘K", 0.5}};
    state.caption = "A caption that is about as long as captions are";
    int i = 0;
    for (auto _ : run) {
        const double phase = 0.01 * ++i;
        const Point place{width * (0.5 + 0.2 * std::cos(phase)), height * (0.5 + 0.2 * std::sin(phase))};
        state.cursor = {place, 1, {{place, 0.3}, {place, 0.7}}};
        if (zoom > 1) state.camera = CameraState{place, zoom};
        benchmark::DoNotOptimize(compositor->compose(frames[static_cast<std::size_t>(i % 2)], state).plane(0));
    }
}
BENCHMARK_CAPTURE(finishedFrame, wholeView1080p, 1920, 1080, 1.0)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(finishedFrame, zoomed1080p, 1920, 1080, 1.75)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(finishedFrame, wholeView4K, 3840, 2160, 1.0)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(finishedFrame, zoomed4K, 3840, 2160, 1.75)->Unit(benchmark::kMillisecond);

/// The camera on its way in: the map changes with every frame.
void zoomRamp1080p(benchmark::State& run) {
    const Picture frame = textLikePicture(1920, 1080);
    const auto compositor = FrameCompositor::make(PixelFormat::yuv420p8);
    compositor->prepare(StyleResolver::resolve(Style(), sizeOf(frame)), sizeOf(frame), sizeOf(frame));
    FrameState state;
    int i = 0;
    for (auto _ : run) {
        state.camera = CameraState{{700, 500}, 1.01 + 0.74 * (++i % 36) / 36};
        benchmark::DoNotOptimize(compositor->compose(frame, state).plane(0));
    }
}
BENCHMARK(zoomRamp1080p)->Unit(benchmark::kMillisecond);

/// A small preview of a large recording: every sample is the mean of many.
void shrunkTo640x360(benchmark::State& run, int width, int height) {
    const std::array frames{textLikePicture(width, height, 1), textLikePicture(width, height, 2)};
    const Size canvas{640, 360};
    const auto compositor = FrameCompositor::make(PixelFormat::yuv420p8);
    compositor->prepare(StyleResolver::resolve(Style(), canvas), canvas, sizeOf(frames[0]));
    int i = 0;
    for (auto _ : run)
        benchmark::DoNotOptimize(compositor->compose(frames[static_cast<std::size_t>(++i % 2)], {}).plane(0));
}
BENCHMARK_CAPTURE(shrunkTo640x360, from1080p, 1920, 1080)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(shrunkTo640x360, from4K, 3840, 2160)->Unit(benchmark::kMillisecond);

void prepareStyle(benchmark::State& run, double width, double height) {
    const Size size{width, height};
    const RenderStyle style = StyleResolver::resolve(Style(), size);
    const auto compositor = FrameCompositor::make(PixelFormat::yuv420p8);
    for (auto _ : run) compositor->prepare(style, size, size);
}
BENCHMARK_CAPTURE(prepareStyle, 540p, 960, 540)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(prepareStyle, 720p, 1280, 720)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(prepareStyle, 1080p, 1920, 1080)->Unit(benchmark::kMillisecond);

/// A finished frame as an image, for the screen or a file.
void still(benchmark::State& run, int width, int height) {
    const Picture frame = textLikePicture(width, height);
    Image image;
    for (auto _ : run) {
        imageFromPicture(frame, image);
        benchmark::DoNotOptimize(image.pixels.data());
    }
}
BENCHMARK_CAPTURE(still, 540p, 960, 540)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(still, 1080p, 1920, 1080)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace lumenwhirl

BENCHMARK_MAIN();
