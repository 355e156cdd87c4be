#pragma once

#include "Media/FFmpegHandles.h"
#include "Media/FrameNumbers.h"
#include "Media/VideoWriter.h"
#include "Pixels/PicturePool.h"

#include <filesystem>
#include <optional>
#include <vector>

namespace lumenwhirl {

/// An encoder at work: in software, or on a graphics card that first showed that it can.
class VideoEncoder {
public:
    /// `settings` in their limits. Throws MediaError naming `file`: encoderFailed, or unsupported where the
    /// encoder that was asked for does not work here.
    VideoEncoder(const VideoSettings& settings, const std::filesystem::path& file);

    /// The pixel format of the frames it takes.
    [[nodiscard]] static PixelFormat formatFor(VideoCodec codec) noexcept;
    /// The library's name of the encoder.
    [[nodiscard]] const char* name() const noexcept { return codec_->codec->name; }
    [[nodiscard]] bool isHardware() const noexcept { return numbers_.has_value(); }
    /// Fills in what a container needs to know of the track. A code of libavutil, as all below.
    [[nodiscard]] int describe(AVCodecParameters& parameters) const;
    /// A frame with its time in ticks of the settings' time base; null ends the stream.
    [[nodiscard]] int send(const AVFrame* frame);
    /// The next packet, times in the same ticks. AVERROR(EAGAIN): only after further frames; AVERROR_EOF: no more.
    [[nodiscard]] int receive(AVPacket& packet);

private:
    struct Hardware;
    class Failure;
    VideoEncoder(const VideoSettings& settings, const Hardware& hardware);

    [[nodiscard]] static VideoEncoder proven(const VideoSettings& settings, const Hardware& hardware);
    void openSoftware(const VideoSettings& settings, const std::filesystem::path& file);
    void addSurfaces(const VideoSettings& settings);
    [[nodiscard]] FrameHandle forHardware(const AVFrame& frame, int& result);

    CodecHandle codec_;
    // For hardware alone.
    AVPixelFormat uploadedAs_ = AV_PIX_FMT_NONE;
    PicturePool staging_;  // NV12 in main memory
    std::optional<FrameNumbers> numbers_;
};

}  // namespace lumenwhirl
