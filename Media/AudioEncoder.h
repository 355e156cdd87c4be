#pragma once

#include "Media/AudioSettings.h"
#include "Media/FFmpegHandles.h"
#include "Media/OutputFile.h"

#include <cstdint>

namespace lumenwhirl {

/// Encodes planar floats to AAC into a track of a file. The encoder's delay becomes negative time, which the MP4
/// family stores in the edit list.
class AudioEncoder {
public:
    static constexpr int mostChannels = 8;
    /// The lowest sample rate AAC has that is not below `sampleRate`, else its highest: 96 kHz.
    [[nodiscard]] static int rateFor(int sampleRate) noexcept;

    /// Adds the track; to be made before output.start(). Throws MediaError (unsupported, encoderFailed).
    AudioEncoder(OutputFile& output, const AudioSettings& settings);

    /// Before all else, for fragmented files: some silence before time 0, so that the track has its first packet
    /// before there is sound.
    void writeLeadIn();
    void write(const float* const* channels, std::size_t frames);
    /// Encodes what is left. The file is the caller's to finish.
    void finish();

private:
    void encode(const AVFrame* frame);

    OutputFile& output_;
    AVStream& stream_;
    CodecHandle codec_;
    FrameHandle frame_ = makeFrame();  // being filled
    int filled_ = 0;                   // samples of frame_
    std::int64_t written_ = 0;         // samples, those of frame_ not counted
    PacketHandle packet_ = makePacket();
};

}  // namespace lumenwhirl
