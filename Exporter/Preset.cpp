#include "Exporter/Preset.h"

#include <algorithm>

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

}  // namespace lumenwhirl
