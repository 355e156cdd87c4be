#pragma once

#include "Files/FileError.h"

namespace lumenwhirl {

/// A media file could not be read or written: the problem ends with the library's reason.
class MediaError : public FileError {
public:
    enum class Kind { cannotOpen, noVideoTrack, noAudioTrack, damaged, unsupported, cannotWrite, encoderFailed };
    MediaError(Kind kind, const std::filesystem::path& file, const std::string& problem)
        : FileError(file, problem), kind_(kind) {}
    [[nodiscard]] Kind kind() const noexcept { return kind_; }

private:
    Kind kind_;
};

}  // namespace lumenwhirl
