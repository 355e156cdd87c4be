#include "Demo/DesktopContent.h"

#include <algorithm>
#include <cctype>
#include <cstddef>

namespace lumenwhirl::demo {
namespace {

bool holds(std::string_view text, std::string_view part) {
    const auto sameLetter = [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
    };
    return std::search(text.begin(), text.end(), part.begin(), part.end(), sameLetter) != text.end();
}

}  // namespace

std::vector<std::string_view> paletteCommands(bool isDark) {
    return {isDark ? "Switch to light appearance" : "Switch to dark appearance", "New task", "Publish programme",
            "Open calendar", "Go to Spring Fair"};
}

std::vector<std::size_t> matchingCommands(bool isDark, std::string_view query) {
    const std::vector<std::string_view> commands = paletteCommands(isDark);
    std::vector<std::size_t> matching;
    for (std::size_t i = 0; i < commands.size(); ++i)
        if (holds(commands[i], query)) matching.push_back(i);
    return matching;
}

std::array<std::vector<Card>, 3> initialCards() {
    return {{
        {
            {"Order 300 paper lanterns", 3, "12 Sep", 4, 1},
            {"Map the route along the river", 0, "14 Sep", 2, 0, 0.4},
            {"Print the signposts", 2, "18 Sep", 0, 2},
            {"Ask the rowing club for boats", 0, "20 Sep", 1, 3},
        },
        {
            {"Poster for the station hall", 2, "6 Sep", 7, 2, -1, true},
            {"Invite the brass band", 1, "9 Sep", 3, 1},
            {"Test the lights at the boathouse", 3, "10 Sep", 5, 3, 0.75},
        },
        {
            {"Choose the evening", 0, "1 Aug", 6, 0},
            {"Permit for the old bridge", 0, "16 Aug", 9, 3},
            {"Pick twelve volunteers", 1, "23 Aug", 2, 1},
            {"Sketch the programme", 2, "28 Aug", 4, 2},
        },
    }};
}

std::deque<TerminalLine> initialTerminal() {
    using Tone = TerminalLine::Tone;
    return {
        {never, "~/lantern-walk $ site watch", Tone::prompt},
        {never, "reading 24 pages, 61 pictures", Tone::plain},
        {never, "built in 1.84 s, no warnings", Tone::good},
        {never, "watching for changes \u2026", Tone::faint},
    };
}

}  // namespace lumenwhirl::demo
