#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace lumenwhirl {

/// What an export is for; decides container, codec and rates.
enum class Preset { web, social, prores, gif };

inline constexpr std::array allPresets{Preset::web, Preset::social, Preset::prores, Preset::gif};

/// Exact names as stored in projects, e.g. "web"; empty for any other.
[[nodiscard]] std::optional<Preset> presetFromRawValue(std::string_view name);
[[nodiscard]] std::string_view rawValue(Preset preset);
[[nodiscard]] std::string_view displayName(Preset preset);
[[nodiscard]] std::string_view fileExtension(Preset preset);

struct PresetRates {
    std::int64_t bitRate = 0;  // average, bit/s; 0: the encoder decides
    int keyFrameInterval = 0;  // frames; 0: the encoder decides
    bool operator==(const PresetRates&) const = default;
};
/// `width` and `height` in pixels.
[[nodiscard]] PresetRates ratesFor(Preset preset, int width, int height, int fps);

}  // namespace lumenwhirl
