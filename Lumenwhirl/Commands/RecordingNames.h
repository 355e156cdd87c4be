#pragma once

#include <ctime>
#include <filesystem>
#include <string>

/// Where recordings go, and what they are called, when the user does not say.
namespace lumenwhirl::RecordingNames {

/// "Lumenwhirl" in the folder for films, as the desktop's user-dirs.dirs names it, else in ~/Videos; in this
/// folder without a home. Perhaps not there yet.
[[nodiscard]] std::filesystem::path defaultFolder();
/// "Lumenwhirl 2024-05-31 at 17.02.09", in local time.
[[nodiscard]] std::string defaultName(std::time_t time);

}  // namespace lumenwhirl::RecordingNames
