#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <vector>

namespace lumenwhirl {

/// Sound in memory: one plane of floats a channel, nominal -1...1, all of one length.
struct AudioBuffer {
    std::vector<std::vector<float>> channels;
    [[nodiscard]] std::size_t frames() const noexcept { return channels.empty() ? 0 : channels.front().size(); }
};

/// Decodes the first audio track at its own rate. The first sample delivered is that of time 0: silence stands for
/// a late start, encoder delay is dropped. One thread at a time.
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

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace lumenwhirl
