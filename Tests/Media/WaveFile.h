#pragma once

#include "Media/AudioReader.h"

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

namespace lumenwhirl {

/// Writes a WAVE file of 32-bit floats, which no codec changes.
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

/// All of a file's sound, read in pieces of `step` frames.
[[nodiscard]] inline AudioBuffer readAll(const std::filesystem::path& file, std::size_t step = 5000) {
    AudioReader reader(file);
    AudioBuffer all, piece;
    all.channels.resize(static_cast<std::size_t>(reader.channels()));
    while (reader.read(piece, step)) {
        for (std::size_t c = 0; c < all.channels.size(); ++c) {
            all.channels[c].insert(all.channels[c].end(), piece.channels[c].begin(), piece.channels[c].end());
        }
    }
    return all;
}

}  // namespace lumenwhirl
