#pragma once

#include "Media/AudioReader.h"
#include "Media/EncodingSettings.h"

#include <filesystem>
#include <memory>

namespace lumenwhirl {

/// Encodes AAC into an M4A, by default at 192 kbit/s for one channel and 96 more for each further one. At the
/// encoder's own default, a third of that, limited speech overshoots full scale by up to 6 dB (signal to noise 7
/// dB; 27 dB at this rate). The encoder's delay goes into the edit list, so that the first sample written plays at
/// time 0. Sample rates that AAC lacks are resampled to the next higher one, or to 96 kHz, the highest; more than
/// eight channels are mixed into one. One thread at a time. Destroyed unfinished, it removes the file, but keeps
/// what was flushed of a fragmented one.
class AudioWriter {
public:
    /// Replaces an existing file. Rate and channels, both above 0, are those of the audio given to write(). Throws
    /// MediaError: cannotWrite, unsupported.
    AudioWriter(const std::filesystem::path& file, const AudioSettings& audio,
                FileLayout layout = FileLayout::indexLast);
    ~AudioWriter();
    AudioWriter(AudioWriter&&) noexcept;
    AudioWriter& operator=(AudioWriter&&) noexcept;

    void write(const AudioBuffer& buffer);
    /// For fragmented files: hands what was written to the system, except the last 0.07 s, which the encoder
    /// holds. Throws MediaError, as write() does; then nothing more can be written.
    void flush();
    /// Completes the file. Throws MediaError; then the file is removed, or cut to what was flushed.
    void finish();

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace lumenwhirl
