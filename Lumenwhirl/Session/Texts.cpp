#include "Lumenwhirl/Session/Texts.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

namespace lumenwhirl {
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
