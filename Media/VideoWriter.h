#pragma once

#include "Media/AudioSettings.h"
#include "Media/Container.h"
#include "Media/Encoders.h"
#include "Media/VideoFrame.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace lumenwhirl {

/// H.264 and HEVC become an MP4. ProRes 422 becomes a QuickTime movie, from frames of PixelFormat::yuv422p10 with
/// a fixed quality of its own and only by software: it is for going on to work with.
enum class VideoCodec { h264, hevc, prores };

struct VideoSettings {
    VideoCodec codec = VideoCodec::h264;
    EncoderChoice encoder = EncoderChoice::software;
    FileLayout layout = FileLayout::indexFirst;
    int width = 0, height = 0;  // even
    Rational frameRate{60, 1};  // nominal, for rate control
    Rational timeBase{1, 600};  // of the times given to write()
    std::int64_t bitRate = 0;   // average, bit/s; 0: constant quality
    // In place of a rate, lower is better: x264's and x265's scale, 0...51, which graphics cards' comes near. Left
    // out, the encoder's default.
    std::optional<double> quality;
    // Every frame comes out of the encoder before the next goes in, and no picture is decoded before one that is
    // shown earlier; for H.264 and HEVC.
    bool realTime = false;
    int keyFrameInterval = 0;      // most frames between key frames; 0: the encoder's default
    std::string speed = "medium";  // of software: x264's and x265's preset name
    int lookahead = -1;  // frames that software's rate control sees ahead, at least 1; -1: the preset's own
    int bFrames = -1;    // software's H.264: most in a row; -1: the preset's own
    bool subpixelMotion = true;  // software's H.264: as the preset has it; false: whole pixels, which is faster
    bool weightedPrediction = true;  // software's H.264: as the preset has it; false: never, which is faster
    int threads = 0;                 // of the software encoder; 0: one a core, at most 8 for ProRes
};

/// Finds the file whose first sound track belongs under the pictures. Empty: it is still being made; with `isLast`
/// there is no later time to ask. What it throws comes out of the writer.
using AudioFinder = std::function<std::optional<std::filesystem::path>(bool isLast)>;

/// Encodes frames, and sound if asked, into a file with BT.709 tags (HEVC tagged hvc1, ProRes apcn). Frames and
/// sound may come in any order of each other; each in its own order of time. One thread at a time. Destroyed
/// unfinished, it removes the file. Does not print, but for what the container's library logs (Media/MediaLog.h
/// silences it).
class VideoWriter {
public:
    /// Replaces an existing file. An automatic choice of encoder takes a graphics card if it encodes a few
    /// pictures of this size well; one that was named and does not is `unsupported`. Throws MediaError:
    /// cannotWrite, unsupported, encoderFailed.
    VideoWriter(const std::filesystem::path& file, const VideoSettings& video,
                const std::optional<AudioSettings>& audio = std::nullopt);
    /// Lays a sound track that is made meanwhile, in another file, under the pictures: copied as it is, up to
    /// their end. Asks for it with each encoded picture, on the caller's thread, until it is there; so long
    /// pictures wait in memory, and the file is not begun. With more than `mostWaiting` bytes of them, or none to
    /// be had in the end, the file gets pictures alone, its index last, to be joined with the sound
    /// (Remuxer::mux).
    VideoWriter(const std::filesystem::path& file, const VideoSettings& video, AudioFinder findAudio);
    static constexpr std::int64_t mostWaiting = 8'000'000;
    ~VideoWriter();
    VideoWriter(VideoWriter&&) noexcept;
    VideoWriter& operator=(VideoWriter&&) noexcept;

    /// `pts` in ticks of the settings' time base, ascending. The frame's pixels must not change any more while
    /// shared (Picture::isUnshared).
    void write(const Picture& frame, std::int64_t pts);
    /// `channels[c][0..frames)`, nominal -1...1; follows what was written before without a gap, from time 0.
    void writeAudio(const float* const* channels, std::size_t frames);
    /// Completes the file. Throws MediaError, and the file is removed.
    void finish();
    /// Whether the sound that was looked for is in the finished file.
    [[nodiscard]] bool hasFoundAudio() const noexcept;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace lumenwhirl
