#pragma once

#include "Engine/Timeline/EditTimeline.h"

#include <filesystem>
#include <stop_token>

/// Sound cut and re-timed as the edit timeline cuts and re-times the picture.
namespace lumenwhirl::AudioEdit {

/// Writes an M4A with the sound raised by `gain` as AudioNormalizer does (1: as it is), and with the segments of
/// `timeline` one after the other, each beginning on the sample its output time falls on, pitch kept, joined by
/// fades of a few milliseconds. Memory does not grow with the length. A stop ends it soon, without a file. Throws
/// MediaError.
void write(const std::filesystem::path& audio, float gain, const EditTimeline& timeline,
           const std::filesystem::path& destination, std::stop_token stop = {});

/// Writes an M4A with all the sound as it is. Throws MediaError; a stop as above.
void encode(const std::filesystem::path& audio, const std::filesystem::path& destination,
            std::stop_token stop = {});

}  // namespace lumenwhirl::AudioEdit
