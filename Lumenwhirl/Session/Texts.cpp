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

UnsafeCharacter unsafeCharacter(std::string_view text) {
    const auto byteAt = [text](std::size_t i) {
        return i < text.size() ? static_cast<unsigned>(static_cast<unsigned char>(text[i])) : 0U;
    };
    const auto continues = [&](std::size_t i) { return (byteAt(i) & 0xC0U) == 0x80; };
    const unsigned first = byteAt(0), second = byteAt(1);
    if (!text.empty() && (first < 0x20 || first == 0x7F)) return {first, 1};
    if (first >= 0xC2 && first < 0xE0 && continues(1)) {
        const unsigned code = (first & 0x1FU) << 6 | (second & 0x3FU);
        if (code < 0xA0 || code == 0x61C) return {code, 2};
    }
    if (first == 0xE2 && continues(1) && continues(2)) {
        const unsigned code = 0x2000 | (second & 0x3FU) << 6 | (byteAt(2) & 0x3FU);
        const bool isMark = code == 0x200E || code == 0x200F || (code >= 0x202A && code <= 0x202E) ||
                            (code >= 0x2066 && code <= 0x2069);
        if (isMark) return {code, 3};
    }
    return {};
}

}  // namespace lumenwhirl
