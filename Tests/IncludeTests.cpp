#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

// Folders are the architecture: what may include what is the table in CONTRIBUTING.md.

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
    for (const std::string& beginning : beginnings)
        if (text.starts_with(beginning)) return true;
    return false;
}

TEST(Includes, goDownTheFoldersOnly) {
    struct Rule {
        std::string folder;
        std::vector<std::string> mayUse;
    };
    const std::vector<Rule> rules{
        {"Engine/", {"Engine/"}},
        {"Files/", {"Files/"}},
        {"Pixels/", {"Pixels/"}},
        {"Media/", {"Engine/Geometry/", "Files/", "Pixels/", "Media/"}},
        {"Compositor/", {"Engine/", "Files/", "Pixels/", "Compositor/"}},
        {"Scene/", {"Engine/", "Files/", "Pixels/", "Media/", "Compositor/", "Scene/"}},
        {"Exporter/", {"Engine/", "Files/", "Pixels/", "Media/", "Compositor/", "Scene/", "Exporter/"}},
        {"Recorder/Package/", {"Engine/", "Files/", "Recorder/Package/"}},
        {"Recorder/Platform/", {"Engine/", "Recorder/Platform/"}},
        {"Recorder/Backends/Pulse/", {"Engine/", "Recorder/Platform/", "Recorder/Backends/Pulse/"}},
        {"Recorder/Backends/X11/", {"Engine/", "Recorder/Platform/", "Recorder/Backends/X11/"}},
        {"Recorder/", {"Engine/", "Files/", "Pixels/", "Media/", "Recorder/"}},
        {"Lumenwhirl/Captions/", {"Engine/", "Files/", "Lumenwhirl/Captions/"}},
        {"Demo/", {"Engine/", "Files/", "Pixels/", "Media/", "Compositor/", "Recorder/Package/", "Demo/"}},
        {"Lumenwhirl/",
         {"Engine/", "Files/", "Pixels/", "Media/", "Compositor/", "Scene/", "Exporter/", "Recorder/", "Demo/",
          "Lumenwhirl/"}},
    };
    for (const Rule& rule : rules) {
        int count = 0;
        for (const Include& include : includesBelow(rule.folder)) {
            count += include.isOurs ? 1 : 0;
            EXPECT_TRUE(!include.isOurs || beginsWithOneOf(include.target, rule.mayUse))
                << include.file.string() << " includes \"" << include.target << "\"";
        }
        EXPECT_GT(count, 0) << rule.folder << " was not looked at";
    }
}

TEST(Includes, namesOfOurFilesStartAtTheRoot) {
    for (const std::string folder : {"Engine", "Files", "Pixels", "Media", "Compositor", "Scene", "Exporter",
                                     "Recorder", "Demo", "Lumenwhirl", "Tests", "Benchmarks"})
        for (const Include& include : includesBelow(folder))
            EXPECT_TRUE(!include.isOurs || fs::exists(root / include.target))
                << include.file.string() << " includes \"" << include.target << "\"";
}

TEST(Includes, foreignLibrariesStayWhereTheyAreWrapped) {
    struct Rule {
        std::vector<std::string> headers, folders;
    };
    const std::vector<Rule> rules{
        {{"libav", "libsw"}, {"Media/"}},
        {{"cairo", "pango"}, {"Compositor/", "Demo/"}},
        {{"hwy/"}, {"Pixels/Kernels/", "Pixels/Kernels/"}},
        {{"simdjson"}, {"Engine/", "Lumenwhirl/"}},
        {{"CLI/"}, {"Lumenwhirl/Commands/"}},
        {{"libimagequant"}, {"Media/"}},
        {{"xcb/", "xkbcommon/", "X11/"}, {"Recorder/Backends/X11/"}},
        {{"pulse/"}, {"Recorder/Backends/Pulse/"}},
    };
    for (const std::string folder : {"Engine", "Files", "Pixels", "Media", "Compositor", "Scene", "Exporter",
                                     "Recorder", "Demo", "Lumenwhirl"})
        for (const Include& include : includesBelow(folder))
            for (const Rule& rule : rules)
                EXPECT_TRUE(include.isOurs || !beginsWithOneOf(include.target, rule.headers) ||
                            beginsWithOneOf(include.file.string(), rule.folders))
                    << include.file.string() << " includes <" << include.target << ">";
}

}  // namespace
}  // namespace lumenwhirl
