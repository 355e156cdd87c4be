#pragma once

#include "Media/Container.h"
#include "Media/FFmpegHandles.h"

#include <filesystem>

namespace lumenwhirl {

/// libavformat's name.
[[nodiscard]] const char* formatName(Container container) noexcept;

/// A media file being written. Destroyed before finish(), it removes the file.
class OutputFile {
public:
    /// Touches no file yet. `format`: libavformat's name. Throws MediaError (cannotWrite).
    OutputFile(std::filesystem::path file, const char* format);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }
    [[nodiscard]] AVFormatContext& context() const noexcept { return *context_; }
    /// A track to be described before start(). Lives as long as this.
    [[nodiscard]] AVStream& addStream();

    /// Creates or replaces the file and writes the header. Throws MediaError (cannotWrite), as all below. From
    /// here on the streams' time bases are the container's.
    void start(Dictionary& options);
    /// Takes the packet's data; its times are in ticks of its stream. Packets of a stream come in decoding order.
    void write(AVPacket& packet);
    /// Completes and closes the file.
    void finish();

private:
    void check(int result, const char* action) const;

    std::filesystem::path path_;
    OutputHandle context_;
    bool isComplete_ = false;
};

}  // namespace lumenwhirl
