#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

/// Lays a separately recorded sound under a recorded picture, in place.
namespace lumenwhirl::Muxer {

class MuxError : public std::runtime_error {
public:
    enum class Kind { exportFailed, noVideoTrack, cannotCreateExportSession };
    MuxError(Kind kind, const std::string& problem) : std::runtime_error(problem), kind_(kind) {}
    [[nodiscard]] Kind kind() const noexcept { return kind_; }

private:
    Kind kind_;
};

/// Afterwards `video` holds its own picture and the first sound track of `audio`, cut where the picture ends, by
/// stream copy; sound it had is gone. Without a sound track in `audio` nothing is changed. The file is replaced in
/// one step: a failure leaves it untouched. `videoEnd`: when the last picture ends, in seconds,
/// where the caller knows better than the file. Throws MuxError.
void muxAudio(const std::filesystem::path& audio, const std::filesystem::path& video,
              std::optional<double> videoEnd = std::nullopt);

}  // namespace lumenwhirl::Muxer
