#pragma once

#include "Engine/Timeline/EditTimeline.h"

#include <filesystem>
#include <stop_token>

/// Audio, cut and re-timed as the edit timeline cuts and re-times the video.
namespace lumenwhirl::AudioEdit {

/// Writes an M4A with the segments of `timeline`, amplified by `gain` as AudioNormalizer does (1: unchanged). Each
/// segment begins at the sample of its output time and keeps its pitch; fades of a few milliseconds join them.
/// Memory does not grow with the length. A stop ends it soon, without a file. Throws MediaError.
void write(const std::filesystem::path& audio, float gain, const EditTimeline& timeline,
           const std::filesystem::path& destination, std::stop_token stop = {});

/// Writes an M4A with all of the audio, unchanged. Throws MediaError; a stop as above.
void encode(const std::filesystem::path& audio, const std::filesystem::path& destination,
            std::stop_token stop = {});

}  // namespace lumenwhirl::AudioEdit
