#pragma once

#include "Media/Container.h"

#include <filesystem>
#include <optional>

/// Copies encoded tracks between files without decoding.
namespace lumenwhirl::Remuxer {

/// Writes `destination` (index first; `container` alone says of which kind, not the name) with the first video
/// track of `video` and the first audio track of `sound` over the video's time range; times, edit lists and codec
/// tags are kept. Replaces an existing file; removes a partial one. `videoEnd`: when the last picture ends, in
/// seconds; left out, what the file says, which with uneven frames may be a little wrong. Throws MediaError:
/// noAudioTrack when `sound` has none.
void mux(const std::filesystem::path& video, const std::filesystem::path& sound,
         const std::filesystem::path& destination, std::optional<double> videoEnd = std::nullopt,
         Container container = Container::mp4);

/// Whether the first audio track of `sound` can be copied so that common players take it; else it must be encoded
/// first. Throws MediaError: cannotOpen, noAudioTrack.
[[nodiscard]] bool canCopySound(const std::filesystem::path& sound);

}  // namespace lumenwhirl::Remuxer
