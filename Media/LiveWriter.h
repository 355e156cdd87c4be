#pragma once

#include "Media/EncodingSettings.h"
#include "Media/VideoFrame.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

namespace lumenwhirl {

/// Encodes frames and audio as they come, each at once and without waiting for the other, into a fragmented MP4
/// with VideoWriter's tags: what was flushed plays, whatever happens afterwards. Only its owner may read the file.
/// One thread at a time.
class LiveWriter {
public:
    /// Opens the encoder, and touches no file yet. Of `video`, `realTime` is implied, `layout` is ignored and
    /// ProRes is not possible; `keyFrameInterval` counts in frames of the nominal rate: a frame that comes later
    /// than that after a key frame becomes one, however few came between. Throws MediaError: unsupported,
    /// encoderFailed.
    LiveWriter(std::filesystem::path file, const VideoSettings& video);
    ~LiveWriter();
    LiveWriter(LiveWriter&&) noexcept;
    LiveWriter& operator=(LiveWriter&&) noexcept;

    /// Creates or replaces the file and flushes a beginning without frames. Throws MediaError (cannotWrite,
    /// unsupported); may then be tried again.
    void start(const std::optional<AudioSettings>& audio);
    /// After start(), like everything below. `pts` in ticks of the settings' time base, at least 0 and ascending.
    /// The pixels must not change while they are shared (Picture::isUnshared). Throws MediaError
    /// (encoderFailed, cannotWrite), like everything below; then nothing more can be written, and what was flushed
    /// stays.
    void write(const Picture& frame, std::int64_t pts);
    /// `channels[c][0..frames)`, nominal -1...1; follows what was written before without a gap, from time 0 on.
    /// Where it throws encoderFailed, only the audio can go no further, and this must not be called again.
    void writeAudio(const float* const* channels, std::size_t frames);
    /// Hands what was written to the system, except the last 0.07 s of audio, which the encoder holds.
    void flush();
    /// Size of the flushed part of the file; 0 before start().
    [[nodiscard]] std::int64_t bytes() const noexcept;
    /// Completes the file.
    void finish();

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace lumenwhirl
