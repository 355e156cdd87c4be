#pragma once

#include "Media/CopiedTrack.h"
#include "Media/FFmpegHandles.h"
#include "Media/InputFile.h"
#include "Media/OutputFile.h"

#include <cstdint>
#include <filesystem>

namespace lumenwhirl {

/// The first sound track of a file, laid under pictures that are written to another: up to their end, as it is.
class CopiedAudio {
public:
    /// Adds a track to `output`, which is not started yet and must outlive this. Throws MediaError: cannotOpen,
    /// noAudioTrack, damaged.
    CopiedAudio(const std::filesystem::path& audio, OutputFile& output);

    /// Copies what begins before `end`, in ticks of `base`. To be called as the pictures go on, with the time up
    /// to which they are decoded: no picture's end comes before that. Throws MediaError (damaged, cannotWrite).
    void copyUntil(std::int64_t end, AVRational base);
    /// The same for the end of it all: a packet across it is made shorter.
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
