#include "Exporter/AudioNormalizer.h"
#include "Media/AudioReader.h"
#include "Media/AudioWriter.h"
#include "Media/MediaLog.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <numbers>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace lumenwhirl;

constexpr int sampleRate = 48'000;
constexpr int seconds = 60;

/// A minute of stereo noise that swells and fades like syllables, as AAC; removed at the end.
class Recording {
public:
    Recording() {
        std::string pattern = (std::filesystem::temp_directory_path() / "lumenwhirl-bench-XXXXXX").string();
        if (!::mkdtemp(pattern.data())) throw std::runtime_error("cannot create " + pattern);
        folder_ = pattern;
        std::mt19937 random(1);
        std::uniform_real_distribution<float> noise(-0.1F, 0.1F);
        AudioWriter writer(file(), {.sampleRate = sampleRate, .channels = 2});
        AudioBuffer second;
        second.channels.assign(2, std::vector<float>(sampleRate));
        for (int s = 0; s < seconds; ++s) {
            for (std::size_t i = 0; i < sampleRate; ++i) {
                const double phase = 4 * 2 * std::numbers::pi * static_cast<double>(i) / sampleRate;
                const auto loudness = static_cast<float>(std::pow(std::sin(phase / 2), 2));
                for (auto& plane : second.channels) plane[i] = loudness * noise(random);
            }
            writer.write(second);
        }
        writer.finish();
    }
    ~Recording() {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    [[nodiscard]] std::filesystem::path file() const { return folder_ / "sound.m4a"; }

private:
    std::filesystem::path folder_;
};

const std::filesystem::path& recording() {
    static const Recording made;
    static const std::filesystem::path file = made.file();
    return file;
}

/// The reference for measuring, which may take 1.3 times as long.
void decodeAlone(benchmark::State& state) {
    const auto& file = recording();
    for (auto _ : state) {
        AudioReader reader(file);
        AudioBuffer buffer;
        while (reader.read(buffer, 65'536)) benchmark::DoNotOptimize(buffer.channels[0].data());
    }
}
BENCHMARK(decodeAlone)->Unit(benchmark::kMillisecond)->MinWarmUpTime(0.2);

void measureLoudness(benchmark::State& state) {
    const auto& file = recording();
    for (auto _ : state) benchmark::DoNotOptimize(AudioNormalizer::measure(file));
}
BENCHMARK(measureLoudness)->Unit(benchmark::kMillisecond)->MinWarmUpTime(0.2);

void normalizedCopy(benchmark::State& state) {
    const auto& file = recording();
    for (auto _ : state) {
        const auto copy = AudioNormalizer::normalizedCopy(file);
        if (!copy) {
            state.SkipWithError("no copy was made");
            break;
        }
        std::filesystem::remove(*copy);
    }
}
BENCHMARK(normalizedCopy)->Unit(benchmark::kMillisecond);

/// `range`: how many of each thousand samples are loud; 59 % of those end up above the knee.
void applyGain(benchmark::State& state) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> noise(-1, 1);
    std::vector<float> source(65'536), samples;
    for (std::size_t i = 0; i < source.size(); ++i) {
        const bool isLoud = static_cast<std::int64_t>(i % 1'000) < state.range(0);
        source[i] = noise(random) * (isLoud ? 1.F : 0.2F);
    }
    for (auto _ : state) {
        samples = source;
        AudioNormalizer::applyGain(samples, 2);
        benchmark::DoNotOptimize(samples.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(source.size()));
}
BENCHMARK(applyGain)->Arg(0)->Arg(20)->Arg(1000);

}  // namespace

int main(int argc, char** argv) {
    silenceMediaLibraries();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
