#pragma once

#include <cstdint>

namespace lumenwhirl {

/// How sound is encoded, as AAC.
struct AudioSettings {
    int sampleRate = 48000;
    int channels = 2;
    std::int64_t bitRate = 0;  // bit/s; 0: left to whoever writes the file
    bool operator==(const AudioSettings&) const = default;
};

}  // namespace lumenwhirl
