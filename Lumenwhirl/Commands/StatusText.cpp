#include "Lumenwhirl/Commands/StatusText.h"

#include "Lumenwhirl/Session/Texts.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

namespace lumenwhirl {
namespace {

/// Ten steps from -60 dB to full scale.
std::string levelMeter(float level, Symbols symbols) {
    constexpr int steps = 10;
    constexpr double floorDb = -60;
    const double decibels = level > 0 ? 20 * std::log10(double{level}) : floorDb;
    const int lit = static_cast<int>(std::lround(std::clamp(1 - decibels / floorDb, 0.0, 1.0) * steps));
    std::string meter = "[";
    for (int step = 0; step < steps; ++step) {
        if (step >= lit) {
            meter += ' ';
        } else {
            meter += symbols == Symbols::unicode ? "▮" : "#";
        }
    }
    return meter + "]";
}

}  // namespace

void ProgressLine::update(std::int64_t framesDone, std::int64_t totalFrames, double now) {
    framesDone_ = framesDone;
    totalFrames_ = totalFrames;
    const bool newestIsRecent =
        samples_.size() >= 2 && samples_.back().time - samples_[samples_.size() - 2].time < sampleSpacing;
    if (newestIsRecent) samples_.pop_back();
    samples_.push_back({now, framesDone});
    while (samples_.size() > 2 && samples_[1].time <= now - window) samples_.pop_front();
}

double ProgressLine::framesPerSecond() const {
    if (samples_.size() < 2) return 0;
    const double time = samples_.back().time - samples_.front().time;
    return time > 0 ? static_cast<double>(samples_.back().framesDone - samples_.front().framesDone) / time : 0;
}

double ProgressLine::fraction() const {
    if (totalFrames_ <= 0) return 0;
    return std::clamp(static_cast<double>(framesDone_) / static_cast<double>(totalFrames_), 0.0, 1.0);
}

std::string ProgressLine::bar(int columns) const {
    const auto [full, empty] = symbols_ == Symbols::unicode
                                   ? std::pair<std::string_view, std::string_view>{"━", "┄"}
                                   : std::pair<std::string_view, std::string_view>{"#", "."};
    const int filled = static_cast<int>(fraction() * columns);
    std::string text;
    for (int i = 0; i < columns; ++i) text += i < filled ? full : empty;
    return text;
}

std::string ProgressLine::text(int columns) const {
    // Rounded down, so that 100 % means done.
    const std::string share = formatted("%s %3d%%", label_.c_str(), static_cast<int>(fraction() * 100));
    const double speed = framesPerSecond();
    std::array<std::string, 3> details{
        formatted("  %lld/%lld frames", static_cast<long long>(framesDone_), static_cast<long long>(totalFrames_)),
        "", ""};
    if (speed > 0) {
        details[1] = formatted("  %.0f fps", speed);
        details[2] = "  " + durationText(static_cast<double>(totalFrames_ - framesDone_) / speed) + " left";
    }
    // In order of importance: percentage, time left, speed, frames, and a bar in what remains.
    std::array<bool, 3> isShown{};
    int width = static_cast<int>(share.size());
    for (const std::size_t i : {2U, 1U, 0U}) {
        isShown[i] = width + static_cast<int>(details[i].size()) <= columns;
        if (isShown[i]) width += static_cast<int>(details[i].size());
    }
    if (width > columns) return share.substr(0, static_cast<std::size_t>(std::max(columns, 0)));
    constexpr int shortestBar = 10, longestBar = 30;
    const int barWidth = std::min(columns - width - 2, longestBar);
    std::string line = share;
    if (barWidth >= shortestBar) line += "  " + bar(barWidth);
    for (std::size_t i = 0; i < details.size(); ++i)
        if (isShown[i]) line += details[i];
    return line;
}

std::string recordingLine(const RecordingController::Progress& progress, bool hasAudio, Symbols symbols,
                          int columns) {
    const std::string time = "Recording  " + durationText(std::floor(progress.seconds));
    constexpr int meterColumns = 14;
    struct Detail {
        std::string text;
        int columns = 0;
        bool isShown = false;
    };
    const auto plain = [](const std::string& text) { return Detail{text, static_cast<int>(text.size())}; };
    std::array<Detail, 5> details{
        plain("  " + std::to_string(progress.file.framesWritten) + " frames"),
        plain("  " + std::to_string(progress.file.framesDropped) + " dropped"),
        plain("  " + sizeText(progress.file.bytes)),
        Detail{"  " + levelMeter(progress.audioLevel, symbols), hasAudio ? meterColumns : columns},
        plain("  Ctrl-C stops"),
    };
    int width = static_cast<int>(time.size());
    for (const std::size_t i : {3U, 1U, 4U, 2U, 0U}) {  // in order of importance
        details[i].isShown = width + details[i].columns <= columns;
        if (details[i].isShown) width += details[i].columns;
    }
    std::string line = time.substr(0, static_cast<std::size_t>(std::max(columns, 0)));
    for (const Detail& detail : details)
        if (detail.isShown) line += detail.text;
    return line;
}

}  // namespace lumenwhirl
