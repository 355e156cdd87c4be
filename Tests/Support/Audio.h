#pragma once

#include "Media/AudioReader.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <span>
#include <string>
#include <vector>

namespace lumenwhirl {

/// Writes a WAVE file of 32-bit floats, which is lossless.
inline void writeWave(const std::filesystem::path& file, const AudioBuffer& audio, int sampleRate) {
    const auto number = [](std::uint32_t value, std::size_t bytes) {
        std::string text(bytes, '\0');
        std::memcpy(text.data(), &value, bytes);  // little-endian, as is every machine this runs on
        return text;
    };
    const auto channels = static_cast<std::uint32_t>(audio.channels.size());
    const auto rate = static_cast<std::uint32_t>(sampleRate);
    const auto size = static_cast<std::uint32_t>(audio.frames()) * channels * 4;
    constexpr std::uint32_t floatFormat = 3;
    std::ofstream out(file, std::ios::binary);
    out << "RIFF" << number(36 + size, 4) << "WAVEfmt " << number(16, 4) << number(floatFormat, 2)
        << number(channels, 2) << number(rate, 4) << number(rate * channels * 4, 4) << number(channels * 4, 2)
        << number(32, 2) << "data" << number(size, 4);
    for (std::size_t i = 0; i < audio.frames(); ++i) {
        for (const auto& plane : audio.channels) out.write(reinterpret_cast<const char*>(&plane[i]), 4);
    }
}

/// All audio that is still to be read, `step` frames at a time.
[[nodiscard]] inline AudioBuffer readRest(AudioReader& reader, std::size_t step = 5000) {
    AudioBuffer all, piece;
    all.channels.resize(static_cast<std::size_t>(reader.channels()));
    while (reader.read(piece, step)) {
        for (std::size_t c = 0; c < all.channels.size(); ++c) {
            all.channels[c].insert(all.channels[c].end(), piece.channels[c].begin(), piece.channels[c].end());
        }
    }
    return all;
}

[[nodiscard]] inline AudioBuffer readAll(const std::filesystem::path& file, std::size_t step = 5000) {
    AudioReader reader(file);
    return readRest(reader, step);
}

}  // namespace lumenwhirl

/// Audio whose parts are found again after they were moved, and the measures that find them.
namespace lumenwhirl::signals {

/// One channel.
[[nodiscard]] inline std::vector<float> sine(std::size_t frames, double frequency, double amplitude,
                                             int sampleRate = 48000) {
    std::vector<float> samples(frames);
    for (std::size_t i = 0; i < frames; ++i) {
        const double phase = 2 * std::numbers::pi * frequency * static_cast<double>(i) / sampleRate;
        samples[i] = static_cast<float>(amplitude * std::sin(phase));
    }
    return samples;
}

/// Silence, but for 60 ms of 1 kHz starting at each of these times as far as they fit.
[[nodiscard]] inline std::vector<float> bursts(std::size_t frames, std::span<const double> seconds,
                                               int sampleRate = 48000) {
    std::vector<float> samples(frames);
    const std::vector<float> burst = sine(static_cast<std::size_t>(0.06 * sampleRate), 1000, 0.5, sampleRate);
    for (const double time : seconds) {
        const auto begin = std::min(frames, static_cast<std::size_t>(std::lround(time * sampleRate)));
        std::copy_n(burst.begin(), std::min(burst.size(), frames - begin),
                    samples.begin() + static_cast<std::ptrdiff_t>(begin));
    }
    return samples;
}

/// Where bursts begin, in seconds: where the level rises above a third of the loudest after 30 ms below it. An
/// encoder's pre-echo stays below, and 1 kHz gets there within 0.1 ms.
[[nodiscard]] inline std::vector<double> onsets(std::span<const float> samples, int sampleRate = 48000) {
    float loudest = 0;
    for (const float sample : samples) loudest = std::max(loudest, std::fabs(sample));
    std::vector<double> found;
    double latest = -1;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (std::fabs(samples[i]) < loudest / 3) continue;
        const double time = static_cast<double>(i) / sampleRate;
        if (time - latest > 0.03) found.push_back(time);
        latest = time;
    }
    return found;
}

/// The centre of the energy within `reach` seconds of a time, in seconds; NaN without any energy.
[[nodiscard]] inline double middleOf(std::span<const float> samples, double time, double reach) {
    const auto at = [&](double seconds) {
        return static_cast<std::size_t>(
            std::clamp<double>(seconds * 48000, 0, static_cast<double>(samples.size())));
    };
    double energy = 0, moment = 0;
    for (std::size_t i = at(time - reach); i < at(time + reach); ++i) {
        const double square = static_cast<double>(samples[i]) * static_cast<double>(samples[i]);
        energy += square;
        moment += square * static_cast<double>(i);
    }
    return moment / energy / 48000;
}

/// In Hz, from the rising zero crossings.
[[nodiscard]] inline double frequencyOf(std::span<const float> samples) {
    double first = -1, last = -1;
    int periods = -1;
    for (std::size_t i = 1; i < samples.size(); ++i) {
        if (!(samples[i - 1] < 0 && samples[i] >= 0)) continue;
        const auto part = static_cast<double>(samples[i - 1] / (samples[i - 1] - samples[i]));
        last = static_cast<double>(i) - 1 + part;
        if (first < 0) first = last;
        ++periods;
    }
    return periods > 0 ? 48000 * periods / (last - first) : 0;
}

[[nodiscard]] inline double rmsOf(std::span<const float> samples) {
    double sum = 0;
    for (const float sample : samples) sum += static_cast<double>(sample) * static_cast<double>(sample);
    return samples.empty() ? 0 : std::sqrt(sum / static_cast<double>(samples.size()));
}

/// Between neighbouring samples.
[[nodiscard]] inline float largestJump(std::span<const float> samples) {
    float jump = 0;
    for (std::size_t i = 1; i < samples.size(); ++i) jump = std::max(jump, std::fabs(samples[i] - samples[i - 1]));
    return jump;
}

}  // namespace lumenwhirl::signals
