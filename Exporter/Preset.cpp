#include "Exporter/Preset.h"

#include "Exporter/ExportTask.h"

#include <algorithm>
#include <cstdint>

namespace lumenwhirl {
namespace {

struct Row {
    Preset preset;
    std::string_view rawValue, displayName, fileExtension;
    double bitsPerPixel;     // average, of a frame; 0: the encoder decides
    double keyFrameSeconds;  // 0: the encoder decides
};
constexpr std::array rows{
    Row{Preset::web, "web", "Web (MP4 · H.264)", "mp4", 0.09, 2},
    Row{Preset::social, "social", "Social (MP4 · HEVC)", "mp4", 0.13, 0},
    Row{Preset::prores, "prores", "ProRes (MOV · editing)", "mov", 0, 0},
    Row{Preset::gif, "gif", "GIF (optimized)", "gif", 0, 0},
};
static_assert(rows.size() == allPresets.size());

const Row& rowOf(Preset preset) {
    return *std::ranges::find(rows, preset, &Row::preset);
}

}  // namespace

std::optional<Preset> presetFromRawValue(std::string_view name) {
    const auto found = std::ranges::find(rows, name, &Row::rawValue);
    return found != rows.end() ? std::optional(found->preset) : std::nullopt;
}

std::string_view rawValue(Preset preset) {
    return rowOf(preset).rawValue;
}
std::string_view displayName(Preset preset) {
    return rowOf(preset).displayName;
}
std::string_view fileExtension(Preset preset) {
    return rowOf(preset).fileExtension;
}

PresetRates ratesFor(Preset preset, int width, int height, int fps) {
    const Row& row = rowOf(preset);
    const double pixels = static_cast<double>(width) * height * fps;
    return {static_cast<std::int64_t>(pixels * row.bitsPerPixel), static_cast<int>(fps * row.keyFrameSeconds)};
}

VideoSettings Exporter::encoderSettings(Preset preset, Size canvas, int fps, Rational timeBase) {
    VideoSettings settings;
    settings.width = static_cast<int>(canvas.width);
    settings.height = static_cast<int>(canvas.height);
    settings.frameRate = {fps, 1};
    settings.timeBase = timeBase;
    const PresetRates rates = ratesFor(preset, settings.width, settings.height, fps);
    if (rates.bitRate > 0)
        settings.bitRate = std::max<std::int64_t>(rates.bitRate, 1000);  // encoders count in 1000s
    settings.keyFrameInterval = rates.keyFrameInterval;
    switch (preset) {
        case Preset::web:
            settings.codec = VideoCodec::h264;
            // On a finished demo (1080p60, 720 frames) the preset alone takes 9.9 s of CPU, luma's mean and worst
            // SSIM 0.9959 and 0.9870; with these 7.2 s, 0.9950 and 0.9922. Subpixel motion costs 1.5 s
            // more for 0.9958 and 0.9938, with three B frames 2.4 s for 0.9962 and 0.9933; "veryfast" takes 15.2 s
            // for that. "ultrafast" with CABAC, deblocking and all else that pays: 6.9 s, 0.9949 and 0.9919.
            // Weighted prediction is for fades, which screens do not have.
            settings.software.preset = "superfast";
            settings.software.lookahead = 15;
            settings.software.bFrames = 0;
            settings.software.subpixelMotion = false;
            settings.software.weightedPrediction = false;
            break;
        case Preset::social:
            settings.codec = VideoCodec::hevc;
            // On a finished demo (1080p60) the preset alone takes 25 s of CPU, luma's mean and worst SSIM 0.9977
            // and 0.9942; with a lookahead of 20 frames instead of 10, 24 to 26 s, 0.9980 and 0.9952. 40 give
            // 0.9982 and 0.9957 for much more memory; "ultrafast" 19 s, 0.9959 and 0.9812; "veryfast" 35 s, 0.9987
            // and 0.9961.
            settings.software.preset = "superfast";
            settings.software.lookahead = 20;
            break;
        case Preset::prores:
            settings.codec = VideoCodec::prores;
            break;
        case Preset::gif:  // has a writer of its own
            break;
    }
    return settings;
}

}  // namespace lumenwhirl
