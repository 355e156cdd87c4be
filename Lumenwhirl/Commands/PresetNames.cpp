#include "Lumenwhirl/Commands/PresetNames.h"

#include "Lumenwhirl/Commands/Command.h"

#include <algorithm>
#include <array>

namespace lumenwhirl::PresetNames {
namespace {

constexpr std::array<std::string_view, 4> projectNames{"web", "social", "prores", "gif"};

std::string availableNames() {
    std::string names;
    for (const Preset preset : allPresets) names += (names.empty() ? "" : ", ") + std::string(rawValue(preset));
    return names;
}

}  // namespace

bool isKnown(std::string_view name) {
    return std::find(projectNames.begin(), projectNames.end(), name) != projectNames.end();
}

std::string list() {
    std::string names;
    for (const std::string_view name : projectNames) names += (names.empty() ? "" : ", ") + std::string(name);
    return names;
}

Preset presetNamed(std::string_view name, const std::string& origin) {
    if (const std::optional<Preset> preset = presetFromRawValue(name)) return *preset;
    const std::string quoted = "\"" + std::string(name) + "\"";
    if (isKnown(name))
        throw CommandError(origin + ": this version cannot write " + quoted + " yet; it can write " +
                           availableNames());
    throw CommandError(origin + ": unknown preset " + quoted + "; known are " + list());
}

std::string_view nameForEnding(std::string_view ending) {
    if (ending == ".mp4") return "web";
    if (ending == ".mov") return "prores";
    if (ending == ".gif") return "gif";
    return {};
}

}  // namespace lumenwhirl::PresetNames
