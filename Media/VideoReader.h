#pragma once

#include "Media/VideoFrame.h"

#include <filesystem>
#include <memory>
#include <optional>

namespace lumenwhirl {

/// What a file says about its first video track.
struct VideoInfo {
    int width = 0, height = 0;
    double frameRate = 0;  // nominal, that of the usual interval; 0 when the file does not say
    double duration = 0;   // of the file, seconds, 0 when it does not say
    double end = 0;        // of the last frame, seconds, 0 when the file does not say
    Rational timeBase;     // of frame times
    bool hasAudio = false;
    bool isIndexed = false;  // it lists all its frames, so that seeking decodes little
    bool operator==(const VideoInfo&) const = default;
};

/// Decodes the first video track, in presentation order with exact times. Any other pixel format, range or matrix
/// is converted to that of VideoFrame; what the stream's tags leave open is taken for BT.709 limited (BT.601 below
/// 720 lines). One thread at a time; decodes on threads of its own.
class VideoReader {
public:
    /// Throws MediaError: cannotOpen, noVideoTrack, unsupported.
    explicit VideoReader(const std::filesystem::path& file);
    ~VideoReader();
    VideoReader(VideoReader&&) noexcept;
    VideoReader& operator=(VideoReader&&) noexcept;

    [[nodiscard]] const VideoInfo& info() const noexcept;
    /// The next frame; empty at the end. Throws MediaError (damaged) when the rest cannot be read.
    [[nodiscard]] std::optional<VideoFrame> next();
    enum class Seek {
        exact,
        keyFrame,  // quicker: nothing between the key frame and the time is decoded
    };
    /// Makes `next` give the newest frame, or key frame, at or before `sourceTime` seconds (the first frame when
    /// there is none), and then those after it.
    void seek(double sourceTime, Seek which = Seek::exact);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace lumenwhirl
