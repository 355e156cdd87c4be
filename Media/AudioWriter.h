#pragma once

#include "Media/AudioReader.h"

#include <filesystem>
#include <memory>

namespace lumenwhirl {

/// Encodes AAC into an M4A, at 192 kbit/s for one channel and 96 for each further. At the encoder's own default, a
/// third of that, limited speech overshoots full scale by up to 6 dB (signal to noise 7 dB; 27 dB at this rate).
/// The encoder's delay goes into the edit list, so that the first sample written plays at time 0. Sound of a rate
/// that AAC lacks is resampled to the next higher one, above 96 kHz to that; more than eight channels are mixed
/// into one. One thread at a time. Destroyed unfinished, it removes the file.
class AudioWriter {
public:
    /// Replaces an existing file. Rate and channels, both above 0, are those of what will be written. Throws
    /// MediaError: cannotWrite, unsupported.
    AudioWriter(const std::filesystem::path& file, int sampleRate, int channels);
    ~AudioWriter();
    AudioWriter(AudioWriter&&) noexcept;
    AudioWriter& operator=(AudioWriter&&) noexcept;

    void write(const AudioBuffer& buffer);
    /// Completes the file. Throws MediaError, and the file is removed.
    void finish();

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace lumenwhirl
