#pragma once

#include "Media/VideoFrame.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// How media files are encoded and laid out.
namespace lumenwhirl {

/// Kinds of movie file; ProRes belongs in QuickTime's.
enum class Container { mp4, mov };

/// How a file of either kind lies on disk.
enum class FileLayout {
    indexFirst,  // a player on the network starts at once; the whole file is written twice
    indexLast,   // enough for files that are read on this machine
    // Every flush() appends an index of what was written since the one before: whatever happens to the writer,
    // the file plays up to its last flush(). Only its owner may read it, and no failure removes what was flushed.
    fragmented,
};

/// What encodes H.264 and HEVC: the processor, or a graphics card through one of its interfaces.
enum class EncoderChoice { automatic, software, vaapi, nvenc, qsv };

inline constexpr std::array allEncoderChoices{EncoderChoice::automatic, EncoderChoice::software,
                                              EncoderChoice::vaapi, EncoderChoice::nvenc, EncoderChoice::qsv};

/// As users write them: "auto", "software", "vaapi", "nvenc", "qsv"; empty for any other name.
[[nodiscard]] std::string_view nameOf(EncoderChoice choice) noexcept;
[[nodiscard]] std::optional<EncoderChoice> encoderChoiceFromName(std::string_view name) noexcept;
/// Whether a graphics card was asked for by name.
[[nodiscard]] bool isGraphicsCard(EncoderChoice choice) noexcept;
/// What to tell users who asked a graphics card for something that only software makes, such as "ProRes".
[[nodiscard]] std::string cannotMake(EncoderChoice choice, std::string_view what);

/// How audio is encoded, as AAC.
struct AudioSettings {
    int sampleRate = 48000;
    int channels = 2;
    std::int64_t bitRate = 0;  // bit/s; 0: the writer of the file chooses
    bool operator==(const AudioSettings&) const = default;
};

/// H.264 and HEVC make an MP4. ProRes 422 makes a QuickTime movie, from frames of PixelFormat::yuv422p10, in
/// software only and at a fixed quality of its own: it is for further editing.
enum class VideoCodec { h264, hevc, prores };

/// How encoders in software trade quality for time; those of graphics cards ignore it.
struct SoftwareTuning {
    std::string preset = "medium";   // x264's and x265's
    int lookahead = -1;              // frames that rate control looks ahead, at least 1; -1: the preset's
    int bFrames = -1;                // H.264: most in a row; -1: the preset's
    bool subpixelMotion = true;      // H.264: as the preset has it; false: whole pixels, which is faster
    bool weightedPrediction = true;  // H.264: as the preset has it; false: never, which is faster
    int threads = 0;                 // 0: one a core, at most 8 for ProRes
};

struct VideoSettings {
    VideoCodec codec = VideoCodec::h264;
    EncoderChoice encoder = EncoderChoice::software;
    int width = 0, height = 0;  // even
    Rational frameRate{60, 1};  // nominal, for rate control
    Rational timeBase{1, 600};  // of the times given to write()
    std::int64_t bitRate = 0;   // average, bit/s; 0: constant quality
    // Constant quality where there is no bit rate, lower is better: x264's and x265's scale of 0...51, which that
    // of graphics cards resembles. Empty: the encoder's default.
    std::optional<double> quality;
    // H.264 and HEVC: every frame comes out of the encoder before the next goes in, and in the order it is shown.
    bool realTime = false;
    int keyFrameInterval = 0;  // most frames between key frames; 0: the encoder's default
    SoftwareTuning software;
};

}  // namespace lumenwhirl
