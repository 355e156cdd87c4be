#include "Lumenwhirl/Commands/PresetNames.h"

#include "Lumenwhirl/Commands/Command.h"

namespace lumenwhirl::PresetNames {

std::string list() {
    std::string names;
    for (const Preset preset : allPresets) names += (names.empty() ? "" : ", ") + std::string(rawValue(preset));
    return names;
}

Preset presetNamed(std::string_view name, const std::string& origin) {
    if (const std::optional<Preset> preset = presetFromRawValue(name)) return *preset;
    throw CommandError(origin + ": unknown preset \"" + std::string(name) + "\"; known are " + list());
}

std::optional<Preset> presetForEnding(std::string_view ending) {
    for (const Preset preset : allPresets)  // web comes before the other one that makes an MP4
        if (ending == "." + std::string(fileExtension(preset))) return preset;
    return std::nullopt;
}

}  // namespace lumenwhirl::PresetNames
