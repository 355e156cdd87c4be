#pragma once

#include "Media/FFmpegHandles.h"
#include "Media/Fragments.h"
#include "Media/InputFile.h"
#include "Media/OutputFile.h"

#include <cstdint>

namespace lumenwhirl {

/// When the packet is shown or heard.
[[nodiscard]] inline std::int64_t startOf(const AVPacket& packet) noexcept {
    return packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
}

/// A track on its way from one file into another, as it is: only the codec's tag follows the container. Both files
/// must outlive it.
class CopiedTrack {
public:
    /// Adds a track to `output`, which is not started yet. Throws MediaError (cannotWrite).
    CopiedTrack(InputFile& input, AVStream& from, OutputFile& output);

    /// Reads the next packet; false at the end.
    [[nodiscard]] bool read(AVPacket& packet) { return input_.read(packet); }
    void write(AVPacket& packet);

    [[nodiscard]] const AVStream& source() const noexcept { return from_; }
    [[nodiscard]] const AVFormatContext& sourceFile() const noexcept { return input_.context(); }
    /// How many packets there are, and for how long, is known only when such a file has been read.
    [[nodiscard]] bool isFragmented() const { return fragmentsOf(input_.path()).isFragmented; }
    [[nodiscard]] AVRational timeBase() const noexcept { return from_.time_base; }  // of the packets read

private:
    void keepTag();

    InputFile& input_;
    AVStream& from_;
    OutputFile& output_;
    AVStream& to_;
};

}  // namespace lumenwhirl
