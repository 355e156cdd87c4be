#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <stop_token>

/// Raises a recording's speech to a target level by one fixed gain with a soft limiter; never makes it quieter.
/// Stateless, reads and writes whole files; memory does not grow with their length beyond one float per 20 ms.
namespace lumenwhirl::AudioNormalizer {

inline constexpr float targetSpeechLevel = 0.14F;
inline constexpr float silenceFloor = 0.0005F;
inline constexpr float maximumGain = 40.0F;
inline constexpr float minimumUsefulGain = 1.05F;

struct Levels {
    float peak = 0;         // largest absolute sample of the mono mix
    float speechLevel = 0;  // 85th percentile of the RMS of its 20 ms blocks; 0 without samples
    int sampleRate = 0;
    int channels = 0;
    bool operator==(const Levels&) const = default;
};

/// Throws MediaError if `file` cannot be opened or has no audio; the operations below never throw it.
[[nodiscard]] Levels measure(const std::filesystem::path& file);

/// The gain of a file's normalised copy: 1 if none is needed, the file cannot be measured, or the work was
/// stopped.
[[nodiscard]] float copyGain(const std::filesystem::path& file, std::stop_token stop = {});
/// A louder AAC copy in the temporary folder ("lwnorm-" + UUID + ".m4a") that the caller removes; empty if none
/// is needed or anything fails: use the file as it is. A given gain has no upper bound. A stop soon gives an empty
/// result and leaves no file.
[[nodiscard]] std::optional<std::filesystem::path> normalizedCopy(const std::filesystem::path& file,
                                                                  std::optional<float> gain = std::nullopt,
                                                                  std::stop_token stop = {});
/// Writes such a copy to `copy`, replacing what is there; false, with an unfinished or no file, when stopped.
/// Throws MediaError.
[[nodiscard]] bool writeCopy(const std::filesystem::path& file, const std::filesystem::path& copy, float gain,
                             std::stop_token stop = {});
/// The gain that raises speech of these levels to the target: 1...maximumGain; 1 for silence.
[[nodiscard]] float gainFor(const Levels& levels);

/// In place: multiplied by `gain`, then limited softly above 0.82 towards 0.95.
void applyGain(std::span<float> samples, float gain);

}  // namespace lumenwhirl::AudioNormalizer
