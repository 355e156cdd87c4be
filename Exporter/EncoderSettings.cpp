#include "Exporter/EncoderSettings.h"

#include <algorithm>
#include <cstdint>

namespace lumenwhirl {

VideoSettings encoderSettings(Preset preset, Size canvas, int fps, Rational timeBase) {
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
            // On a finished demo (1080p60, two cores) the preset alone takes 6.1 s, its worst frame at an SSIM of
            // 0.990; with a short look ahead 6.0 s and 0.997, as good as "veryfast" (0.998) in 8.3 s.
            settings.speed = "superfast";
            settings.lookahead = 10;
            break;
        case Preset::social:
            settings.codec = VideoCodec::hevc;
            // On a finished demo (1080p60) the preset alone takes 25 s of CPU, luma's mean and worst SSIM 0.9977
            // and 0.9942; seeing 20 frames ahead instead of 10, 24 to 26 s, 0.9980 and 0.9952. 40 give 0.9982 and
            // 0.9957 for much more memory; "ultrafast" 19 s, 0.9959 and 0.9812; "veryfast" 35 s, 0.9987 and
            // 0.9961.
            settings.speed = "superfast";
            settings.lookahead = 20;
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
