#pragma once

#include "Engine/Documents/ProjectSettings.h"

#include <array>
#include <vector>

namespace lumenwhirl::demo {

/// One sound of speech with its time in the recording.
struct Phone {
    double start = 0, end = 0;         // seconds
    std::array<double, 3> formants{};  // Hz
    double voice = 0, noise = 0;       // strengths, 0...1
    double noiseFrequency = 3000;      // Hz
    double pitch = 1;                  // times the voice's own
};

/// A reading of a caption, letter by letter and stretched to the caption's time: not quite English, but with
/// speech's rhythm, melody and spectrum.
[[nodiscard]] std::vector<Phone> phonesOf(const CaptionCue& cue);

}  // namespace lumenwhirl::demo
