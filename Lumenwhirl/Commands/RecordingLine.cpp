#include "Lumenwhirl/Commands/RecordingLine.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

namespace lumenwhirl {
namespace {

/// Ten steps from -60 dB to full scale.
std::string levelMeter(float level, ProgressLine::Symbols symbols) {
    constexpr int steps = 10;
    constexpr double floorDb = -60;
    const double decibels = level > 0 ? 20 * std::log10(double{level}) : floorDb;
    const int lit = static_cast<int>(std::lround(std::clamp(1 - decibels / floorDb, 0.0, 1.0) * steps));
    std::string meter = "[";
    for (int step = 0; step < steps; ++step) {
        if (step >= lit) {
            meter += ' ';
        } else {
            meter += symbols == ProgressLine::Symbols::unicode ? "▮" : "#";
        }
    }
    return meter + "]";
}

}  // namespace

std::string recordingLine(const RecordingController::Progress& progress, bool hasAudio,
                          ProgressLine::Symbols symbols, int columns) {
    const std::string time = "Recording  " + durationText(std::floor(progress.seconds));
    constexpr int meterColumns = 14;
    struct Detail {
        std::string text;
        int columns = 0;
        bool isShown = false;
    };
    const auto plain = [](const std::string& text) { return Detail{text, static_cast<int>(text.size())}; };
    std::array<Detail, 4> details{
        plain("  " + std::to_string(progress.file.framesWritten) + " frames"),
        plain("  " + std::to_string(progress.file.framesDropped) + " dropped"),
        plain("  " + sizeText(progress.file.bytes)),
        Detail{"  " + levelMeter(progress.audioLevel, symbols), hasAudio ? meterColumns : columns},
    };
    int width = static_cast<int>(time.size());
    for (const std::size_t i : {3U, 1U, 2U, 0U}) {  // in order of worth
        details[i].isShown = width + details[i].columns <= columns;
        if (details[i].isShown) width += details[i].columns;
    }
    std::string line = time.substr(0, static_cast<std::size_t>(std::max(columns, 0)));
    for (const Detail& detail : details)
        if (detail.isShown) line += detail.text;
    return line;
}

}  // namespace lumenwhirl
