#pragma once

#include "Media/EncodingSettings.h"

#include <filesystem>
#include <optional>

/// Copies encoded tracks between files without decoding.
namespace lumenwhirl::Remuxer {

/// Writes `destination` (index first; `container` decides its kind, whatever its name) with the first video track
/// of `video` and, over its time range, the first audio track of `audio`; times, edit lists and codec tags are
/// kept. Replaces an existing file; removes a partial one. `videoEnd`: when the last frame ends, in seconds; if
/// empty, what the file states, which with uneven frames may be slightly wrong. Throws MediaError: noAudioTrack
/// when `audio` has none.
void mux(const std::filesystem::path& video, const std::filesystem::path& audio,
         const std::filesystem::path& destination, std::optional<double> videoEnd = std::nullopt,
         Container container = Container::mp4);

/// Turns a fragmented file, also one whose writer was killed, into a plain one with its index in front: the first
/// video and the first audio track with their times, edit lists and codec tags; the last frame lasts `lastFrame`
/// seconds. The new file is written beside it, under a name that begins with ".mux-", flushed to disk, and then
/// takes its place; only its owner may read it. A plain file stays as it is. After a failure the file still plays:
/// only what follows its last complete fragment was cut off. Throws MediaError: cannotOpen; damaged when nothing
/// was recorded; cannotWrite.
void complete(const std::filesystem::path& file, double lastFrame = 1 / 60.0);

/// Whether common players can play the first audio track of `audio` when it is copied; otherwise it must be
/// encoded first. Throws MediaError: cannotOpen, noAudioTrack.
[[nodiscard]] bool canCopyAudio(const std::filesystem::path& audio);

}  // namespace lumenwhirl::Remuxer
