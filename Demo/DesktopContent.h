#pragma once

#include "Demo/DesktopState.h"
#include "Demo/DisplayList.h"
#include "Demo/Theme.h"

#include <array>
#include <string_view>
#include <vector>

/// What is written on the invented desktop: a neighbourhood plans its lantern walk.
namespace lumenwhirl::demo {

struct Label {
    std::string_view name;
    Color color;
};
inline constexpr std::array<Label, labelCount> labels{
    {{"Stage", palette::violet}, {"Music", palette::blue}, {"Print", palette::coral}, {"Lights", palette::amber}}};

struct Person {
    std::string_view name;
    Color color;
};
inline constexpr std::array<Person, 4> people{
    {{"Mira", palette::violet}, {"Jonas", palette::teal}, {"Ines", palette::coral}, {"Theo", palette::blue}}};

struct MenuEntry {
    std::string_view name, doneTitle, doneDetail, logLine;
    Icon icon;
};
inline constexpr std::array<MenuEntry, menuItemCount> menuEntries{{
    {"Publish to website", "Programme published", "lantern-walk.example is up to date", "publish programme",
     Icon::globe},
    {"Send to the team", "Sent to the team", "Mira, Jonas, Ines and Theo have it", "send programme", Icon::mail},
    {"Export as PDF", "Exported as PDF", "Programme.pdf is in Documents", "export programme", Icon::download},
    {"Copy public link", "Link copied", "Anyone with the link can read along", "link programme", Icon::link},
}};

/// The commands the palette offers; the first changes the appearance and is named for the one it leads to.
[[nodiscard]] std::vector<std::string_view> paletteCommands(bool isDark);
/// Those whose name holds the query, whatever its case, in order; indices into `paletteCommands`.
[[nodiscard]] std::vector<std::size_t> matchingCommands(bool isDark, std::string_view query);

/// In each column.
inline constexpr std::array<int, 3> initialTasks{4, 3, 4};
[[nodiscard]] inline int taskCount(const DesktopState& state) {
    return initialTasks[0] + initialTasks[1] + initialTasks[2] + state.addedTasks;
}
[[nodiscard]] std::array<std::vector<Card>, 3> initialCards();
[[nodiscard]] std::deque<TerminalLine> initialTerminal();

}  // namespace lumenwhirl::demo
