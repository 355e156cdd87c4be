#pragma once

#include "Media/FFmpegHandles.h"
#include "Media/Fragments.h"
#include "Media/InputFile.h"
#include "Media/OutputFile.h"

#include <cstdint>
#include <filesystem>

namespace lumenwhirl {

/// When the packet is shown or heard.
[[nodiscard]] inline std::int64_t startOf(const AVPacket& packet) noexcept {
    return packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
}

/// Copies a track from one file into another as it is, except that the codec's tag follows the container. Both
/// files must outlive it.
class CopiedTrack {
public:
    /// Adds a track to `output`, which is not started yet. Throws MediaError (cannotWrite).
    CopiedTrack(InputFile& input, AVStream& from, OutputFile& output);

    /// Reads the next packet; false at the end.
    [[nodiscard]] bool read(AVPacket& packet) { return input_.read(packet); }
    void write(AVPacket& packet);

    [[nodiscard]] const AVStream& source() const noexcept { return from_; }
    [[nodiscard]] const AVFormatContext& sourceFile() const noexcept { return input_.context(); }
    /// How many packets such a file has, and how long they play, is known only once it has been read.
    [[nodiscard]] bool isFragmented() const { return fragmentsOf(input_.path()).isFragmented; }
    [[nodiscard]] AVRational timeBase() const noexcept { return from_.time_base; }  // of the packets read

private:
    InputFile& input_;
    AVStream& from_;
    OutputFile& output_;
    AVStream& to_;
};

/// Lays the first audio track of a file under video that is being written to another file: as it is, up to the end
/// of the video.
class CopiedAudio {
public:
    /// Adds a track to `output`, which is not started yet and must outlive this. Throws MediaError: cannotOpen,
    /// noAudioTrack, damaged.
    CopiedAudio(const std::filesystem::path& audio, OutputFile& output);

    /// Copies what begins before `end`, in ticks of `base`. To be called as the video goes on, with its decoding
    /// time: no frame ends before that. Throws MediaError (damaged, cannotWrite).
    void copyUntil(std::int64_t end, AVRational base);
    /// The same for the end of the video: a packet across it is shortened.
    void finishAt(std::int64_t end, AVRational base);

    [[nodiscard]] const CopiedTrack& track() const noexcept { return track_; }

private:
    void copyOne();

    InputFile input_;
    CopiedTrack track_;
    PacketHandle packet_ = makePacket();
    bool hasPacket_;
};

}  // namespace lumenwhirl
