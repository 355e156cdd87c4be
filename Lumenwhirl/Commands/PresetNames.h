#pragma once

#include "Exporter/Preset.h"

#include <string>
#include <string_view>

/// The presets by the names that projects, the command line and file endings give them.
namespace lumenwhirl::PresetNames {

/// Whether `name` is one that a project may hold, be it written by this version or not.
[[nodiscard]] bool isKnown(std::string_view name);
/// "web, social, …", for messages and help.
[[nodiscard]] std::string list();
/// The preset of a known name. Throws CommandError, beginning with `origin`, for a name that is unknown or that
/// this version cannot write.
[[nodiscard]] Preset presetNamed(std::string_view name, const std::string& origin);

/// The name for a file's ending: mp4 web, mov prores, gif gif; empty for any other.
[[nodiscard]] std::string_view nameForEnding(std::string_view ending);

}  // namespace lumenwhirl::PresetNames
