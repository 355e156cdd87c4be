#pragma once

#include <filesystem>

/// Copies encoded tracks between files without decoding.
namespace lumenwhirl::Remuxer {

/// Writes `destination` (MP4, index first) with the first video track of `video` and the first audio track of
/// `sound` over the video's time range; times, edit lists and codec tags are kept. Replaces an existing file;
/// removes a partial one. Throws MediaError: noAudioTrack when `sound` has none.
void mux(const std::filesystem::path& video, const std::filesystem::path& sound,
         const std::filesystem::path& destination);

}  // namespace lumenwhirl::Remuxer
