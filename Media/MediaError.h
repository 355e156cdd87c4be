#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

namespace lumenwhirl {

/// A media file could not be read or written. what() is one line: the file, what failed, the library's reason.
class MediaError : public std::runtime_error {
public:
    enum class Kind { cannotOpen, noVideoTrack, noAudioTrack, damaged, unsupported, cannotWrite, encoderFailed };
    MediaError(Kind kind, const std::filesystem::path& file, const std::string& problem)
        : std::runtime_error(file.string() + ": " + problem), kind_(kind) {}
    [[nodiscard]] Kind kind() const noexcept { return kind_; }

private:
    Kind kind_;
};

}  // namespace lumenwhirl
