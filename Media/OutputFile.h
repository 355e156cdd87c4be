#pragma once

#include "Media/EncodingSettings.h"
#include "Media/FFmpegHandles.h"

#include <cstdint>
#include <filesystem>

namespace lumenwhirl {

/// libavformat's name.
[[nodiscard]] const char* formatName(Container container) noexcept;

/// Makes the container state the tracks' durations in a unit that divides the ticks of both time bases, so that
/// nothing is rounded; if there is no such unit, it keeps its own.
void setMovieTimescale(Dictionary& options, AVRational first, AVRational second);

/// A media file being written. Destroyed before finish(), it removes the file; a fragmented one is cut to what was
/// flushed, and removed only if that is nothing.
class OutputFile {
public:
    /// Touches no file yet. `format`: libavformat's name. Throws MediaError (cannotWrite).
    OutputFile(std::filesystem::path file, const char* format, FileLayout layout = FileLayout::indexLast);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }
    [[nodiscard]] AVFormatContext& context() const noexcept { return *context_; }
    [[nodiscard]] FileLayout layout() const noexcept { return layout_; }
    /// A track to be described before start(). Lives as long as this.
    [[nodiscard]] AVStream& addStream();

    /// Creates or replaces the file, see createNewFile() for a fragmented one, and writes the header. Throws
    /// MediaError (cannotWrite), like everything below. From here on the streams' time bases are the container's.
    /// Adds what the layout needs to `options`.
    void start(Dictionary& options);
    /// Takes the packet's data; its times are in ticks of its stream. Packets of a stream come in decoding order.
    /// Tracks do not wait for each other in a fragmented file.
    void write(AVPacket& packet);
    /// For fragmented files: hands what was written to the system. Tracks whose times begin below 0 must have a
    /// packet before the first call.
    void flush();
    /// Size of the flushed part of a fragmented file.
    [[nodiscard]] std::int64_t flushedBytes() const noexcept { return flushedBytes_; }
    /// Completes and closes the file.
    void finish();

private:
    void check(int result, const char* action) const;
    void abandon() noexcept;

    std::filesystem::path path_;
    FileLayout layout_;
    OutputHandle context_;
    std::int64_t flushedBytes_ = 0;
    bool isOurs_ = false;  // there is a file, and it is not complete
};

}  // namespace lumenwhirl
