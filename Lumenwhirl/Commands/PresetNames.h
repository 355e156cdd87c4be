#pragma once

#include "Exporter/Preset.h"

#include <optional>
#include <string>
#include <string_view>

/// The presets by the names that projects, the command line and file endings give them.
namespace lumenwhirl::PresetNames {

/// "web, social, …", for messages and help.
[[nodiscard]] std::string list();
/// Throws CommandError, beginning with `origin`, for a name that is none.
[[nodiscard]] Preset presetNamed(std::string_view name, const std::string& origin);
/// For a file's ending: ".mp4" web, ".mov" prores, ".gif" gif; empty for any other.
[[nodiscard]] std::optional<Preset> presetForEnding(std::string_view ending);

}  // namespace lumenwhirl::PresetNames
