#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <vector>

namespace lumenwhirl {

/// Audio in memory: one plane of floats per channel, nominal -1...1, all of one length.
struct AudioBuffer {
    std::vector<std::vector<float>> channels;
    [[nodiscard]] std::size_t frames() const noexcept { return channels.empty() ? 0 : channels.front().size(); }
};

/// Decodes the first audio track at its own rate. The first sample delivered is that of time 0: a late start
/// becomes silence, encoder delay is dropped. One thread at a time.
class AudioReader {
public:
    /// Throws MediaError: cannotOpen, noAudioTrack, unsupported.
    explicit AudioReader(const std::filesystem::path& file);
    ~AudioReader();
    AudioReader(AudioReader&&) noexcept;
    AudioReader& operator=(AudioReader&&) noexcept;

    [[nodiscard]] int sampleRate() const noexcept;
    [[nodiscard]] int channels() const noexcept;
    /// Fills `buffer` with at most `maxFrames` frames, fewer only at the end; false, and an empty buffer, after
    /// it. Throws MediaError (damaged).
    [[nodiscard]] bool read(AudioBuffer& buffer, std::size_t maxFrames);
    /// Makes `read` continue at the sample of `sourceTime` seconds, rounded to the nearest: sample n of the track
    /// is that of n / sampleRate(). Takes as long as decoding up to there in files that do not tell exactly where
    /// their packets begin; ours do. Throws MediaError (cannotOpen).
    void seek(double sourceTime);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace lumenwhirl
