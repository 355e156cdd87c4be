#pragma once

#include "Media/AudioReader.h"
#include "Media/EncodingSettings.h"

#include <cstdint>
#include <filesystem>
#include <memory>

namespace lumenwhirl {

/// Encodes AAC into an M4A, unless told otherwise at 192 kbit/s for one channel and 96 for each further. At the
/// encoder's own default, a third of that, limited speech overshoots full scale by up to 6 dB (signal to noise 7
/// dB; 27 dB at this rate). The encoder's delay goes into the edit list, so that the first sample written plays at
/// time 0. Sound of a rate that AAC lacks is resampled to the next higher one, above 96 kHz to that; more than
/// eight channels are mixed into one. One thread at a time. Destroyed unfinished, it removes the file, but keeps
/// what was flushed of a fragmented one.
class AudioWriter {
public:
    /// Replaces an existing file. Rate and channels, both above 0, are those of what will be written. Throws
    /// MediaError: cannotWrite, unsupported.
    AudioWriter(const std::filesystem::path& file, const AudioSettings& audio,
                FileLayout layout = FileLayout::indexLast);
    ~AudioWriter();
    AudioWriter(AudioWriter&&) noexcept;
    AudioWriter& operator=(AudioWriter&&) noexcept;

    void write(const AudioBuffer& buffer);
    /// For fragmented files: what was written, but for the last 0.07 s that the encoder holds, is on disk
    /// afterwards. Throws MediaError, as write() does; then there is nothing more to write.
    void flush();
    /// Of a fragmented file, what was flushed.
    [[nodiscard]] std::int64_t bytes() const noexcept;
    /// Completes the file. Throws MediaError, and the file is removed, or cut to what was flushed.
    void finish();

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace lumenwhirl
