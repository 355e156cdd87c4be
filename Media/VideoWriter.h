#pragma once

#include "Media/EncodingSettings.h"
#include "Media/VideoFrame.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

namespace lumenwhirl {

/// Finds the file whose first audio track belongs under the video. Empty: it is still being made; with `isLast`
/// there is no later time to ask. What it throws comes out of the writer.
using AudioFinder = std::function<std::optional<std::filesystem::path>(bool isLast)>;

/// Encodes frames, and audio if asked, into a file with BT.709 tags (HEVC tagged hvc1, ProRes apcn). Frames and
/// audio may come in any order relative to each other, each in its own order of time. One thread at a time.
/// Destroyed unfinished, it removes the file. Does not print, except what the container's library logs
/// (silenceMediaLibraries).
class VideoWriter {
public:
    /// Replaces an existing file. An automatic choice of encoder takes a graphics card if it encodes a few frames
    /// of this size well; one that was named and does not is `unsupported`. Throws MediaError: cannotWrite,
    /// unsupported, encoderFailed.
    VideoWriter(const std::filesystem::path& file, const VideoSettings& video,
                const std::optional<AudioSettings>& audio = std::nullopt);
    /// Lays an audio track that is being made meanwhile, in another file, under the video: copied as it is, up to
    /// the end of the video. Asks for it with each encoded frame, on the caller's thread, until it is there; until
    /// then packets wait in memory, and the file is not begun. With more than `mostWaiting` bytes of them, or if
    /// no audio is found in the end, the file gets the video alone, its index last, to be joined with the audio
    /// (Remuxer::mux).
    VideoWriter(const std::filesystem::path& file, const VideoSettings& video, AudioFinder findAudio);
    static constexpr std::int64_t mostWaiting = 8'000'000;
    ~VideoWriter();
    VideoWriter(VideoWriter&&) noexcept;
    VideoWriter& operator=(VideoWriter&&) noexcept;

    /// `pts` in ticks of the settings' time base, ascending. The pixels must not change while they are shared
    /// (Picture::isUnshared).
    void write(const Picture& frame, std::int64_t pts);
    /// `channels[c][0..frames)`, nominal -1...1; follows what was written before without a gap, from time 0 on.
    void writeAudio(const float* const* channels, std::size_t frames);
    /// Completes the file. `end`: of the last frame, in ticks; by default it is shown for one frame at the nominal
    /// rate. Throws MediaError; then the file is removed.
    void finish(std::optional<std::int64_t> end = std::nullopt);
    /// Whether the audio that was looked for is in the finished file.
    [[nodiscard]] bool hasFoundAudio() const noexcept;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace lumenwhirl
