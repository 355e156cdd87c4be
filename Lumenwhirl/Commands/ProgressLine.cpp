#include "Lumenwhirl/Commands/ProgressLine.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <string_view>

namespace lumenwhirl {
namespace {

template <class... Values>
std::string formatted(const char* format, Values... values) {
    char text[96];
    std::snprintf(text, sizeof text, format, values...);
    return text;
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
    // Rounded down: 100 % is said only when it is done.
    const std::string share = formatted("%s %3d%%", label_.c_str(), static_cast<int>(fraction() * 100));
    const double speed = framesPerSecond();
    std::array<std::string, 3> details{
        formatted("  %lld/%lld frames", static_cast<long long>(framesDone_), static_cast<long long>(totalFrames_)),
        "", ""};
    if (speed > 0) {
        details[1] = formatted("  %.0f fps", speed);
        details[2] = "  " + durationText(static_cast<double>(totalFrames_ - framesDone_) / speed) + " left";
    }
    // In order of worth: share, time left, speed, frames, and a bar in what remains.
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

std::string durationText(double seconds) {
    const auto whole = static_cast<long long>(std::ceil(std::clamp(seconds, 0.0, 359999.0)));
    const long long hours = whole / 3600, minutes = whole / 60 % 60;
    return hours > 0 ? formatted("%lld:%02lld:%02lld", hours, minutes, whole % 60)
                     : formatted("%lld:%02lld", minutes, whole % 60);
}

std::string sizeText(std::uintmax_t bytes) {
    if (bytes < 1000) return std::to_string(bytes) + " bytes";
    constexpr std::array<std::string_view, 4> units{"kB", "MB", "GB", "TB"};
    double amount = static_cast<double>(bytes) / 1000;
    std::size_t unit = 0;
    while (amount >= 999.95 && unit + 1 < units.size()) {
        amount /= 1000;
        ++unit;
    }
    return formatted("%.1f ", amount) + std::string(units[unit]);
}

}  // namespace lumenwhirl
