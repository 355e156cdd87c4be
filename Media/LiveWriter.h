#pragma once

#include "Media/AudioSettings.h"
#include "Media/VideoFrame.h"
#include "Media/VideoWriter.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

namespace lumenwhirl {

/// Encodes pictures and sound as they come, each as soon as it comes and without waiting for the other, into a
/// fragmented MP4 with VideoWriter's tags: what was flushed plays, whatever happens afterwards. Only its owner may
/// read the file. One thread at a time.
class LiveWriter {
public:
    /// Opens the encoder, and touches no file yet. Of `video`, `realTime` is implied, `layout` ignored, ProRes is
    /// no codec for this, and `keyFrameInterval` is for how long frames of the nominal rate last: however rare
    /// frames are, one that comes after that is a key frame. Throws MediaError: unsupported, encoderFailed.
    LiveWriter(std::filesystem::path file, const VideoSettings& video);
    ~LiveWriter();
    LiveWriter(LiveWriter&&) noexcept;
    LiveWriter& operator=(LiveWriter&&) noexcept;

    /// Creates or replaces the file, and flushes a beginning without pictures. Throws MediaError (cannotWrite,
    /// unsupported) and may be tried again.
    void start(const std::optional<AudioSettings>& audio);
    /// Not before start(), as all below. `pts` in ticks of the settings' time base, at least 0 and ascending. The
    /// frame's pixels must not change any more while shared (Picture::isUnshared). Throws MediaError
    /// (encoderFailed, cannotWrite), as all below; then nothing more can be written, and what was flushed stays.
    void write(const Picture& frame, std::int64_t pts);
    /// `channels[c][0..frames)`, nominal -1...1; follows what was written before without a gap, from time 0.
    void writeAudio(const float* const* channels, std::size_t frames);
    /// Hands what was written to the system, but for the last 0.07 s of sound, which the encoder holds.
    void flush();
    /// Of the file, as far as it was flushed; 0 before start().
    [[nodiscard]] std::int64_t bytes() const noexcept;
    /// Completes the file.
    void finish();

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace lumenwhirl
