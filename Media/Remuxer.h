#pragma once

#include "Media/EncodingSettings.h"

#include <filesystem>
#include <optional>

/// Copies encoded tracks between files without decoding.
namespace lumenwhirl::Remuxer {

/// Writes `destination` (index first; `container` alone says of which kind, not the name) with the first video
/// track of `video` and the first audio track of `sound` over the video's time range; times, edit lists and codec
/// tags are kept. Replaces an existing file; removes a partial one. `videoEnd`: when the last picture ends, in
/// seconds; left out, what the file says, which with uneven frames may be a little wrong. Throws MediaError:
/// noAudioTrack when `sound` has none.
void mux(const std::filesystem::path& video, const std::filesystem::path& audio,
         const std::filesystem::path& destination, std::optional<double> videoEnd = std::nullopt,
         Container container = Container::mp4);

/// Turns a fragmented file, also one whose writer was killed, into a plain one with its index in front: the first
/// video and the first audio track, their times, edit lists and codec tags as they are; the last picture lasts
/// `lastPicture` seconds. It is made beside the file, under a name that begins with ".mux-", reaches the disk and
/// then takes the file's place; only its owner may read it. A file that is plain already stays as it is. After a
/// failure the file still plays: what is behind its last complete fragment was cut off. Throws MediaError:
/// cannotOpen; damaged when nothing was recorded; cannotWrite.
void complete(const std::filesystem::path& file, double lastPicture = 1 / 60.0);

/// Whether the first audio track of `sound` can be copied so that common players take it; else it must be encoded
/// first. Throws MediaError: cannotOpen, noAudioTrack.
[[nodiscard]] bool canCopyAudio(const std::filesystem::path& audio);

}  // namespace lumenwhirl::Remuxer
