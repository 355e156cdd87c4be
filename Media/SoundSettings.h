#pragma once

#include <cstdint>

namespace lumenwhirl {

/// How sound is encoded, as AAC.
struct SoundSettings {
    int sampleRate = 48000;
    int channels = 2;
    std::int64_t bitRate = 0;  // bit/s; 0: left to whoever writes the file
    bool operator==(const SoundSettings&) const = default;
};

}  // namespace lumenwhirl
