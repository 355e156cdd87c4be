#pragma once

#include "Media/EncodingSettings.h"
#include "Media/TrackEncoder.h"

#include <cstdint>

namespace lumenwhirl {

/// Encodes planar floats as AAC into a track of a file. The encoder's delay becomes negative time, which the MP4
/// family stores in the edit list.
class AudioEncoder {
public:
    static constexpr int mostChannels = 8;
    /// The lowest sample rate AAC has that is not below `sampleRate`, else its highest: 96 kHz.
    [[nodiscard]] static int rateFor(int sampleRate) noexcept;

    /// Adds the track to `output`, which is not started yet and must outlive this. Throws MediaError (unsupported,
    /// encoderFailed), as all below, which also throw cannotWrite.
    AudioEncoder(OutputFile& output, const AudioSettings& settings);

    /// For fragmented files, before anything else: some silence before time 0, so that the track has a packet
    /// before the first audio comes.
    void writeLeadIn();
    /// `channels[c][0..frames)`, nominal -1...1; follows what was written before without a gap.
    void write(const float* const* channels, std::size_t frames);
    /// Encodes what is left. Does not finish the file.
    void finish();

private:
    [[nodiscard]] int frameSize() const noexcept { return encoder_.codec().frame_size; }
    void encodeFrame();

    TrackEncoder encoder_;
    FrameHandle frame_ = makeFrame();  // being filled
    int filled_ = 0;                   // samples of frame_
    std::int64_t written_ = 0;         // samples, without those of frame_
};

}  // namespace lumenwhirl
