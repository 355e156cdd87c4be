#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// What the build cannot say: each target shows what it links, but anyone can link anything, and foreign headers
// are on everybody's include path.

namespace lumenwhirl {
namespace {

namespace fs = std::filesystem;

const fs::path root = LUMENWHIRL_SOURCE_DIR;

struct Include {
    fs::path file;       // relative to the root
    std::string target;  // as written between the quotes or brackets
    bool isOurs = false;
};

/// The text between the marks of an #include line, with its first mark; empty for any other line.
std::string_view includeIn(std::string_view line) {
    const auto skip = [&line](std::string_view text) {
        line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
        const bool isThere = line.starts_with(text);
        if (isThere) line.remove_prefix(text.size());
        return isThere;
    };
    if (!skip("#") || !skip("include")) return {};
    line.remove_prefix(std::min(line.find_first_of("\"<"), line.size()));
    return line.substr(0, std::min(line.find_first_of("\">", 1), line.size()));
}

std::vector<Include> includesBelow(const std::string& folder) {
    std::vector<Include> includes;
    for (const auto& entry : fs::recursive_directory_iterator(root / folder)) {
        if (entry.path().extension() != ".h" && entry.path().extension() != ".cpp") continue;
        std::ifstream source(entry.path());
        for (std::string line; std::getline(source, line);)
            if (const std::string_view include = includeIn(line); !include.empty())
                includes.push_back(
                    {fs::relative(entry.path(), root), std::string(include.substr(1)), include.front() == '"'});
    }
    return includes;
}

bool beginsWithOneOf(const std::string& text, const std::vector<std::string>& beginnings) {
    return std::any_of(beginnings.begin(), beginnings.end(),
                       [&text](const std::string& beginning) { return text.starts_with(beginning); });
}

/// From the lowest floor up.
const std::vector<std::string> folders{"Engine", "Files",    "Pixels",   "Media", "Compositor",
                                       "Scene",  "Recorder", "Exporter", "Demo",  "Lumenwhirl"};

struct Room {
    std::string folder;
    std::vector<std::string> mayUse;  // rooms that stand before it, so that there is no circle
};

const std::vector<Room> rooms{
    {"Engine/", {}},
    {"Files/", {}},
    {"Pixels/", {}},
    {"Media/", {"Files/", "Pixels/"}},
    {"Compositor/", {"Engine/", "Files/", "Pixels/"}},
    {"Scene/", {"Engine/", "Files/", "Pixels/", "Media/", "Compositor/"}},
    {"Recorder/Package/", {"Engine/", "Files/"}},
    {"Recorder/Platform/", {"Engine/"}},
    {"Recorder/Backends/Pulse/", {"Engine/", "Recorder/Platform/"}},
    {"Recorder/Backends/X11/", {"Engine/", "Recorder/Platform/"}},
    {"Recorder/Backends/", {"Recorder/Platform/", "Recorder/Backends/Pulse/", "Recorder/Backends/X11/"}},
    {"Recorder/", {"Engine/", "Files/", "Pixels/", "Media/", "Recorder/Package/", "Recorder/Platform/"}},
    {"Exporter/", {"Engine/", "Files/", "Pixels/", "Media/", "Compositor/", "Scene/"}},
    {"Demo/", {"Engine/", "Files/", "Pixels/", "Media/", "Recorder/Package/"}},
    {"Lumenwhirl/Captions/", {"Engine/", "Files/"}},
    {"Lumenwhirl/Session/",
     {"Engine/", "Files/", "Pixels/", "Media/", "Compositor/", "Scene/", "Recorder/", "Exporter/"}},
    {"Lumenwhirl/",
     {"Engine/", "Files/", "Pixels/", "Media/", "Compositor/", "Scene/", "Recorder/", "Exporter/", "Demo/",
      "Lumenwhirl/"}},
};

/// The one with the longest name that fits: Recorder/Package/ before Recorder/.
const Room& roomOf(std::string_view file) {
    const Room* found = nullptr;
    for (const Room& room : rooms)
        if (file.starts_with(room.folder) && (!found || room.folder.size() > found->folder.size())) found = &room;
    if (!found) throw std::runtime_error(std::string(file) + " is in no room");
    return *found;
}

TEST(Includes, goDownTheFloorsOnly) {
    for (const std::string& folder : folders) {
        int count = 0;
        for (const Include& include : includesBelow(folder)) {
            if (!include.isOurs) continue;
            ++count;
            const Room &user = roomOf(include.file.string()), &used = roomOf(include.target);
            EXPECT_TRUE(&user == &used || (&used < &user && beginsWithOneOf(include.target, user.mayUse)))
                << include.file.string() << " includes \"" << include.target << "\"";
        }
        EXPECT_GT(count, 0) << folder << " was not looked at";
    }
}

TEST(Includes, foreignLibrariesStayWhereTheyAreWrapped) {
    struct Rule {
        std::vector<std::string> headers, folders;
    };
    const std::vector<Rule> rules{
        {{"libav", "libsw"}, {"Media/"}},
        {{"cairo", "pango"}, {"Compositor/", "Demo/"}},
        {{"hwy/"}, {"Pixels/Kernels/"}},
        {{"simdjson"}, {"Engine/", "Lumenwhirl/"}},
        {{"CLI/"}, {"Lumenwhirl/Commands/"}},
        {{"libimagequant"}, {"Media/"}},
        {{"xcb/", "xkbcommon/", "X11/"}, {"Recorder/Backends/X11/"}},
        {{"pulse/"}, {"Recorder/Backends/Pulse/"}},
    };
    for (const std::string& folder : folders)
        for (const Include& include : includesBelow(folder))
            for (const Rule& rule : rules)
                EXPECT_TRUE(include.isOurs || !beginsWithOneOf(include.target, rule.headers) ||
                            beginsWithOneOf(include.file.string(), rule.folders))
                    << include.file.string() << " includes <" << include.target << ">";
}

}  // namespace
}  // namespace lumenwhirl
