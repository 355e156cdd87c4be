#pragma once

#include "Lumenwhirl/Captions/CaptionFile.h"

#include <string_view>
#include <vector>

namespace lumenwhirl::CaptionFile {

/// Reads `[{"text": "Hello", "start": 0.2, "end": 0.5}, …]`, times in seconds, and groups the words into cues.
/// Throws Error with the path of the key.
[[nodiscard]] std::vector<CaptionCue> parseTimedWords(std::string_view json);

}  // namespace lumenwhirl::CaptionFile
