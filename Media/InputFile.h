#pragma once

#include "Media/FFmpegHandles.h"

#include <filesystem>

namespace lumenwhirl {

/// A media file opened for reading its packets. Running out of memory is a MediaError too, here and in the
/// decoder: as a rule it is a damaged file that asks for gigabytes.
class InputFile {
public:
    /// Which formats are taken: audio and video, or single images.
    enum class Contents { movie, image };

    /// `wanted`: the only kind of track that will be read, or unknown for any; the data of other tracks is not
    /// even looked at. Throws MediaError (cannotOpen).
    explicit InputFile(std::filesystem::path file, AVMediaType wanted = AVMEDIA_TYPE_UNKNOWN,
                       Contents contents = Contents::movie);

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }
    [[nodiscard]] AVFormatContext& context() const noexcept { return *context_; }
    /// The first track of the kind, or null. A cover image is not a video track.
    [[nodiscard]] AVStream* firstStream(AVMediaType type) const noexcept;
    /// The same; throws MediaError (noVideoTrack, noAudioTrack) if there is none.
    [[nodiscard]] AVStream& requiredStream(AVMediaType type) const;
    /// Packets of the other streams are skipped from now on.
    void readOnly(const AVStream& stream) noexcept;

    /// The next packet; false at the end. Throws MediaError (damaged) when there is more that cannot be read: a
    /// read error, or a file that ends before the data its index promises.
    [[nodiscard]] bool read(AVPacket& packet);

private:
    [[nodiscard]] bool isCutShort() const;

    std::filesystem::path path_;
    InputHandle context_;
};

}  // namespace lumenwhirl
