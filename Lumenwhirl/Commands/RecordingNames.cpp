#include "Lumenwhirl/Commands/RecordingNames.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <string_view>

namespace lumenwhirl::RecordingNames {
namespace {

namespace fs = std::filesystem;

std::optional<fs::path> folderIn(const char* variable) {
    const char* const value = std::getenv(variable);
    if (value == nullptr || *value != '/') return std::nullopt;
    return fs::path(value);
}

/// The line XDG_VIDEOS_DIR="$HOME/…" or ="/…", see xdg-user-dirs.
std::optional<fs::path> videosFolder(const fs::path& home) {
    constexpr std::string_view key = "XDG_VIDEOS_DIR=\"", homeVariable = "$HOME";
    std::ifstream file(folderIn("XDG_CONFIG_HOME").value_or(home / ".config") / "user-dirs.dirs");
    for (std::string line; std::getline(file, line);) {
        std::string_view value = line;
        if (!value.starts_with(key)) continue;
        value.remove_prefix(key.size());
        value = value.substr(0, value.find('"'));
        if (value.starts_with('/')) return fs::path(value);
        if (!value.starts_with(homeVariable)) continue;
        value.remove_prefix(std::min(value.find_first_not_of('/', homeVariable.size()), value.size()));
        if (!value.empty()) return home / value;
    }
    return std::nullopt;
}

}  // namespace

fs::path defaultFolder() {
    constexpr std::string_view name = "Lumenwhirl";
    const std::optional<fs::path> home = folderIn("HOME");
    if (!home) return name;
    return videosFolder(*home).value_or(*home / "Videos") / name;
}

std::string defaultName(std::time_t time) {
    std::tm local{};
    localtime_r(&time, &local);
    std::array<char, 64> text{};
    std::strftime(text.data(), text.size(), "Lumenwhirl %Y-%m-%d at %H.%M.%S", &local);
    return text.data();
}

}  // namespace lumenwhirl::RecordingNames
