#pragma once

#include "Media/EncodingSettings.h"
#include "Media/TrackEncoder.h"
#include "Pixels/PicturePool.h"

#include <cstdint>
#include <deque>
#include <filesystem>
#include <optional>

namespace lumenwhirl {

/// Numbers frames on their way into an encoder and gives its packets the frames' own times back. Drivers keep
/// times in units of their own (Quick Sync: 1/90000 s), which would round ours; numbers survive.
class FrameNumbers {
public:
    /// `nominalTicks`: between two frames, at least 1; for decoding times before the first frame.
    explicit FrameNumbers(std::int64_t nominalTicks) : nominalTicks_(nominalTicks) {}

    /// The number that stands for the next frame's time; times ascend.
    [[nodiscard]] std::int64_t numberFor(std::int64_t pts);
    /// Replaces a packet's numbers by times; packets come in decoding order. False where no frame has such a
    /// number.
    [[nodiscard]] bool restore(AVPacket& packet);

private:
    std::int64_t nominalTicks_;
    std::int64_t first_ = 0;          // number of the first of times_
    std::deque<std::int64_t> times_;  // of the frames that packets may still refer to
};

/// A video track being encoded: in software, or on a graphics card that first proved that it can. Times are in
/// ticks of the settings' time base.
class VideoEncoder : public TrackEncoder {
public:
    /// Opens the encoder. An automatic choice takes a graphics card if it encodes a few frames of this size well.
    /// Throws MediaError naming `file`: encoderFailed; unsupported for sizes and rates out of range, and where the
    /// encoder that was asked for does not work here.
    [[nodiscard]] static VideoEncoder make(const VideoSettings& settings, const std::filesystem::path& file);

    /// The format of the frames it takes.
    [[nodiscard]] static PixelFormat formatFor(VideoCodec codec) noexcept;

private:
    struct Hardware;
    VideoEncoder(const char* encoder, const VideoSettings& settings, const std::filesystem::path& file);
    VideoEncoder(const VideoSettings& settings, const Hardware& hardware, const std::filesystem::path& file);

    [[nodiscard]] static VideoEncoder inSoftware(const VideoSettings& settings, const std::filesystem::path& file);
    [[nodiscard]] static VideoEncoder proven(const VideoSettings& settings, const Hardware& hardware,
                                             const std::filesystem::path& file);
    [[nodiscard]] int send(const AVFrame* frame) override;
    [[nodiscard]] int receive(AVPacket& packet) override;
    void addSurfaces(const VideoSettings& settings);
    [[nodiscard]] FrameHandle forHardware(const AVFrame& frame, int& result);
    [[noreturn]] void failToWork(const std::string& reason) const;

    // For hardware alone.
    AVPixelFormat uploadedAs_ = AV_PIX_FMT_NONE;
    PicturePool staging_;  // NV12 in main memory
    std::optional<FrameNumbers> numbers_;
};

}  // namespace lumenwhirl
