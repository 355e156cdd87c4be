#include "Demo/DesktopPicture.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <string>
#include <string_view>
#include <vector>

/// What is drawn on the invented desktop: a neighbourhood plans its lantern walk.
namespace lumenwhirl::demo {
namespace {

struct Theme {
    bool isDark = false;
    Color bar = isDark ? rgb(0x12152A, 0.80) : rgb(0xF7F8FC, 0.82);
    Color barText = isDark ? rgb(0xEEF0FA) : rgb(0x1E2233);
    Color dock = isDark ? rgb(0x1A1E38, 0.62) : rgb(0xF7F8FC, 0.62);
    Color dockEdge = isDark ? rgb(0xFFFFFF, 0.12) : rgb(0xFFFFFF, 0.65);
    Color window = isDark ? rgb(0x1B1E2E) : rgb(0xFFFFFF);
    Color windowEdge = isDark ? rgb(0xFFFFFF, 0.11) : rgb(0x1B2140, 0.14);
    Color titleBar = isDark ? rgb(0x202436) : rgb(0xFBFBFD);
    Color sidebar = isDark ? rgb(0x171A28) : rgb(0xF5F6FA);
    Color text = isDark ? rgb(0xF0F2FA) : rgb(0x1B1F2E);
    Color textSoft = isDark ? rgb(0xA9B0C8) : rgb(0x5A6178);
    Color textFaint = isDark ? rgb(0x747B94) : rgb(0x8E94A8);
    Color hairline = isDark ? rgb(0xFFFFFF, 0.075) : rgb(0x1B2140, 0.09);
    Color column = isDark ? rgb(0x161926) : rgb(0xF3F4F9);
    Color card = isDark ? rgb(0x25293C) : rgb(0xFFFFFF);
    Color cardEdge = isDark ? rgb(0xFFFFFF, 0.06) : rgb(0x1B2140, 0.08);
    Color field = isDark ? rgb(0x141724) : rgb(0xF4F5F9);
    Color hover = isDark ? rgb(0xFFFFFF, 0.07) : rgb(0x1B2140, 0.055);
    Color popover = isDark ? rgb(0x262A3E) : rgb(0xFFFFFF);
    double shadow = isDark ? 0.50 : 0.30;  // opacity under a window
};

// The same in both appearances.
constexpr Color violet = rgb(0x7C5CFC), blue = rgb(0x3B82F6), teal = rgb(0x14B8A6), green = rgb(0x22A565),
                amber = rgb(0xF59E0B), coral = rgb(0xF9735B), white = rgb(0xFFFFFF), black = rgb(0);
constexpr Color shade(double alpha) {
    return rgb(0x0A0F2C, alpha);
}

struct Named {
    std::string_view name;
    Color color;
};
constexpr std::array<Named, labelCount> labels{
    {{"Stage", violet}, {"Music", blue}, {"Print", coral}, {"Lights", amber}}};
constexpr std::array<Named, 4> people{{{"Mira", violet}, {"Jonas", teal}, {"Ines", coral}, {"Theo", blue}}};
constexpr std::array<Named, 3> columnNames{{{"To do", coral}, {"In progress", blue}, {"Done", green}}};

struct Light {
    double x, y, size;
};
constexpr std::array<Light, 6> coverLights{
    {{34, 50, 13}, {76, 26, 9}, {112, 58, 16}, {150, 34, 10}, {186, 56, 13}, {206, 22, 7}}};
constexpr std::array<Light, 11> bannerLights{{{48, 60, 15},
                                              {104, 34, 10},
                                              {150, 78, 18},
                                              {214, 48, 12},
                                              {262, 88, 16},
                                              {318, 30, 9},
                                              {352, 66, 14},
                                              {410, 84, 18},
                                              {458, 40, 11},
                                              {500, 72, 15},
                                              {530, 28, 8}}};

enum class Style { title, date, banner, paragraph, line, heading, row, checked, unchecked };
struct Passage {
    Style style;
    std::string_view text = {}, time = {}, place = {};
};
constexpr auto programme = std::to_array<Passage>({
    {Style::title, "An evening of light"},
    {Style::date, "Saturday, 28 September  \u00b7  18:30 to 22:00"},
    {Style::banner},
    {Style::paragraph, "When the sun has set we light three hundred paper lanterns and walk them"},
    {Style::line, "down to the river. Everybody is welcome: bring children, neighbours and"},
    {Style::line, "a warm jacket. The walk is flat, half an hour long and free of charge."},
    {Style::heading, "What happens when"},
    {Style::row, "Lanterns are handed out", "18:30", "Station square"},
    {Style::row, "The brass band opens the walk", "19:10", "Station square"},
    {Style::row, "Walk along the river", "19:15", "East bank"},
    {Style::row, "Lights on the water", "20:00", "Old boathouse"},
    {Style::row, "Soup, bread and music", "20:30", "Boathouse yard"},
    {Style::row, "Last song, lanterns home", "21:45", "Old bridge"},
    {Style::heading, "What to bring"},
    {Style::checked, "A cup for the soup"},
    {Style::checked, "A torch for the way back"},
    {Style::unchecked, "Good shoes, the path may be wet"},
    {Style::unchecked, "A friend who has never been"},
    {Style::heading, "Getting there"},
    {Style::paragraph, "Trains stop at Riverside every twenty minutes until half past eleven. Bicycles"},
    {Style::line, "can be left behind the station; please leave the square to those on foot."},
    {Style::line},
    {Style::line, "If it rains we meet in the station hall and light the lanterns there."},
    {Style::heading, "Thank you"},
    {Style::paragraph, "To the rowing club, the brass band and everybody who folds paper until late."},
});

constexpr double sidebarWidth = 212, textColumn = 560;

Rect inset(Rect rect, double by) {
    return {rect.x + by, rect.y + by, rect.width - 2 * by, rect.height - 2 * by};
}

/// What `width` the text takes, near enough to place the next thing.
double textWidth(std::string_view text, double size) {
    // Advance widths of Inter Medium in 1/100 em, for a to z; the rest is coarser.
    constexpr std::array<int, 26> lower{57, 62, 58, 62, 59, 37, 62, 60, 25, 25, 56, 25, 89,
                                        60, 61, 62, 62, 39, 54, 36, 60, 57, 82, 56, 57, 56};
    double width = 0;
    for (const char character : text) {
        if (character >= 'a' && character <= 'z')
            width += lower[static_cast<std::size_t>(character - 'a')];
        else if (character >= 'A' && character <= 'Z')
            width += character == 'I' ? 28 : character == 'M' ? 91 : 69;
        else
            width += character == ' ' ? 28 : character >= '0' && character <= '9' ? 64 : 31;
    }
    return width * size / 100;
}

bool holdsIgnoringCase(std::string_view text, std::string_view part) {
    const auto sameLetter = [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
    };
    return std::search(text.begin(), text.end(), part.begin(), part.end(), sameLetter) != text.end();
}

struct View {
    DrawList& list;
    const Desktop& desktop;
    Theme theme;
    Color accent;
    double now;

    void everything();

    // Windows and popups.
    void boards();
    void sidebar(double height);
    void sidebarEntry(double y, std::string_view icon, std::string_view name, std::string_view count,
                      bool isSelected);
    void saveState();
    void column(std::size_t index);
    void card(const Card& card, double width, double height, bool isDone);
    void composer();
    void notes();
    void document();
    void passage(const Passage& passage, double& y);
    void banner();
    void publishButton();
    void menu();
    void terminal();
    void bar();
    void dock();
    void toast();
    void palette();

    // Pieces that several of them use, at the corner of the window or popup they lie in.
    void windowFrame(Part window, Size size, const Color& body);
    void windowBar(Rect bar, Size window, const Color& fill);
    void windowButtons(double right, double middle, const Color& color);
    void popover(Size size, double radius);
    enum class Look { primary, plain };
    void button(Target target, std::string_view name, Look look, double labelShift = 0);
    void avatar(Point center, double radius, int person);
    void typing(Rect field, const TextField& text, std::string_view placeholder, double size);
    [[nodiscard]] Color inkOf(const Named& label) const {
        return theme.isDark ? mixed(label.color, white, 0.45) : mixed(label.color, black, 0.25);
    }
};

void View::everything() {
    const Size size = desktop.layout.desktop();
    list.setLayer(0);
    list.wallpaper({0, 0, size.width, size.height});
    int layer = 1;
    for (const Part window : desktop.windows) {
        list.setLayer(layer++);
        if (window == Part::boards) {
            boards();
            composer();
        } else if (window == Part::notes) {
            notes();
            menu();
        } else {
            terminal();
        }
    }
    list.setLayer(layer);
    bar();
    dock();
    toast();
    palette();
}

void View::boards() {
    const auto [x, y, width, height] = desktop.layout.rect({Part::boards});
    const auto scope = list.moved(x, y);
    windowFrame(Part::boards, {width, height}, theme.window);
    windowBar({0, 0, sidebarWidth, height}, {width, height}, theme.sidebar);
    list.box({sidebarWidth, 0, 1, height}, 0, theme.hairline);
    sidebar(height);
    list.text({236, 27.5}, "Projects  /  Lantern Walk", {12.5, 500}, theme.textFaint);
    windowButtons(width - 12, 23, theme.textSoft);

    list.text({236, 84}, "Lantern Walk", {27, 700}, theme.text);
    list.text({236, 110},
              std::to_string(desktop.taskCount()) + " tasks  \u00b7  4 people  \u00b7  Saturday, 28 September",
              {13, 400}, theme.textSoft);
    for (int i = 3; i >= 0; --i) {
        const Point at{1042 - 24.0 * (3 - i), 88};
        list.box({at.x - 17, at.y - 17, 34, 34}, 17, theme.window);
        avatar(at, 15, i);
    }
    button({Part::newTask}, "+  New task", Look::primary);
    button({Part::filter}, "Filter", Look::plain);
    button({Part::group}, "Group: status", Look::plain);
    saveState();
    for (std::size_t i = 0; i < 3; ++i) column(i);
}

void View::sidebar(double height) {
    list.gradient({16, 12, 24, 24}, 7, mixed(amber, white, 0.2), coral);
    list.icon(icon::lantern, {20, 16}, 16, white, 1.5);
    list.text({50, 29}, "Riverside", {14, 600}, theme.text);
    list.icon(icon::chevronDown, {120, 17}, 14, theme.textFaint, 1.5);

    sidebarEntry(58, icon::search, "Search", "", false);
    sidebarEntry(92, icon::inbox, "Inbox", "3", false);
    sidebarEntry(126, icon::check, "My tasks", "5", false);
    sidebarEntry(160, icon::calendar, "Calendar", "", false);
    list.text({22, 222}, "Projects", {11.5, 600}, theme.textFaint);
    sidebarEntry(234, icon::lantern, "Lantern Walk", std::to_string(desktop.taskCount()), true);
    sidebarEntry(268, icon::sun, "Spring Fair", "6", false);
    sidebarEntry(302, icon::board, "Boathouse", "2", false);
    list.text({22, 364}, "Team", {11.5, 600}, theme.textFaint);
    for (int i = 0; i < 4; ++i) {
        const double y = 378 + 34.0 * i;
        avatar({32, y + 14}, 11, i);
        list.text({52, y + 18.5}, people[static_cast<std::size_t>(i)].name, {13, 500}, theme.text);
        if (i != 2) list.box({182, y + 10.5, 7, 7}, 3.5, green);  // is there
    }
    list.icon(icon::gear, {22, height - 38}, 16, theme.textSoft, 1.5);
    list.text({48, height - 25.5}, "Settings", {13, 500}, theme.textSoft);
}

void View::sidebarEntry(double y, std::string_view icon, std::string_view name, std::string_view count,
                        bool isSelected) {
    constexpr double x = 12, width = sidebarWidth - 24;
    if (isSelected) list.box({x, y, width, 32}, 8, withAlpha(accent, theme.isDark ? 0.26 : 0.11));
    const Color lit = theme.isDark ? mixed(accent, white, 0.5) : accent;
    list.icon(icon, {x + 10, y + 8}, 16, isSelected ? lit : theme.textSoft, 1.5);
    list.text({x + 36, y + 20.5}, name, {13, isSelected ? 600 : 500}, isSelected ? lit : theme.text);
    list.text({x + width - 10, y + 20.5}, count, {12, 500}, theme.textFaint, Align::right);
}

void View::saveState() {
    const std::string_view text = desktop.isBoardSaved ? "All changes saved" : "Unsaved changes";
    list.text({1056, 154}, text, {12.5, 500}, theme.textSoft, Align::right);
    const double left = 1056 - textWidth(text, 12.5) - 18;
    if (desktop.isBoardSaved)
        list.icon(icon::check, {left - 4, 142}, 15, now - desktop.savedAt < 2.5 ? green : theme.textFaint, 1.8);
    else
        list.box({left, 146, 8, 8}, 4, amber);
}

void View::column(std::size_t index) {
    constexpr double width = 260, height = 560;
    const auto scope = list.moved(sidebarWidth + 24 + 280.0 * static_cast<double>(index), 188);
    const auto& [name, color] = columnNames[index];
    list.box({0, 0, width, height}, 12, theme.column);
    list.box({16, 19, 9, 9}, 4.5, color);
    list.text({34, 28.5}, name, {13.5, 600}, theme.text);
    const double countX = 34 + textWidth(name, 13.5) + 12;
    list.box({countX, 14, 24, 19}, 9.5, theme.hover);
    list.text({countX + 12, 28}, std::to_string(desktop.taskCount(index)), {11.5, 600}, theme.textSoft,
              Align::center);
    list.icon(icon::plus, {width - 34, 15}, 17, theme.textFaint, 1.5);

    const auto clip = list.clipped({0, 44, width, height - 50});
    double y = 46;
    for (const Card& shown : desktop.columns[index]) {
        const double cardHeight = 84 + (shown.progress >= 0 ? 18 : 0) + (shown.hasCover ? 92 : 0);
        const double arrived = shown.addedAt > never ? settled((now - shown.addedAt) / 0.38) : 1;
        const auto place = list.moved(10, y + (1 - arrived) * -18, arrived);
        card(shown, width - 20, cardHeight, index == 2);
        y += (cardHeight + 10) * arrived;
    }
}

void View::card(const Card& card, double width, double height, bool isDone) {
    const Rect box{0, 0, width, height};
    list.shadow(inset(box, 1), 4, 2, shade(theme.isDark ? 0.25 : 0.09));
    list.box(box, 10, theme.card);
    list.border(box, 10, theme.cardEdge);
    const double fresh = 1 - eased((now - card.addedAt - 1.1) / 0.7);
    if (card.addedAt > never && fresh > 0) list.border(inset(box, -1), 11, withAlpha(accent, 0.85 * fresh), 2);
    double y = 0;
    if (card.hasCover) {  // a night over water with a few lanterns
        const Rect cover{8, 8, width - 16, 84};
        list.gradient(cover, 9, rgb(0x2B2C7A), rgb(0xB65C8E));
        const auto clip = list.clipped(cover);
        for (const auto& [x, down, size] : coverLights) {
            const Point at{cover.x + x, cover.y + down};
            list.glow(at, 2.6 * size, rgb(0xFFC26B, 0.75));
            list.gradient({at.x - 0.42 * size, at.y - 0.55 * size, 0.84 * size, 1.1 * size}, 0.3 * size,
                          rgb(0xFFE9B8), rgb(0xFF9E57));
        }
        y += 92;
    }
    list.text({14, y + 29}, card.title, {13.5, 600}, isDone ? theme.textSoft : theme.text, Align::left,
              width - 28);
    if (card.progress >= 0) {
        list.box({14, y + 43, width - 28, 5}, 2.5, theme.hover);
        list.gradient({14, y + 43, (width - 28) * card.progress, 5}, 2.5, mixed(accent, white, 0.2), accent);
        y += 18;
    }
    const Named& label = labels[static_cast<std::size_t>(card.label)];
    const double chip = textWidth(label.name, 11) + 16, x = 14 + chip + 10;
    list.box({14, y + 48, chip, 20}, 6, withAlpha(label.color, theme.isDark ? 0.24 : 0.13));
    list.text({14 + chip / 2, y + 62}, label.name, {11, 600}, inkOf(label), Align::center);
    list.icon(isDone ? icon::check : icon::calendar, {x, y + 51}, 14, isDone ? green : theme.textFaint, 1.4);
    list.text({x + 19, y + 62}, card.due, {11.5, 500}, theme.textSoft);
    if (card.comments > 0) {
        list.icon(icon::comment, {width - 72, y + 51}, 14, theme.textFaint, 1.4);
        list.text({width - 54, y + 62}, std::to_string(card.comments), {11.5, 500}, theme.textSoft);
    }
    avatar({width - 25, y + 58}, 11, card.owner);
}

void View::composer() {
    const double presence = desktop.composer.presence(now);
    if (presence <= 0) return;
    const auto [x, y, width, height] = desktop.layout.rect({Part::composer});
    const auto scope = list.moved(x, y + (1 - presence) * -8, presence);
    popover({width, height}, 12);
    list.text({16, 30}, "New task", {14, 600}, theme.text);
    list.text({width - 16, 30}, "in To do", {12, 500}, theme.textFaint, Align::right);

    const Rect field{16, 46, 316, 40};
    list.box(field, 8, theme.field);
    list.border(inset(field, -3), 11, withAlpha(accent, 0.22), 3);
    list.border(field, 8, accent, 1.5);
    typing({field.x + 14, field.y, field.width - 28, field.height}, desktop.draft, "What needs doing?", 14.5);

    for (int i = 0; i < labelCount; ++i) {
        const Target target{Part::labelChip, i};
        const Rect chip = Layout::rectInside(target);
        const Named& label = labels[static_cast<std::size_t>(i)];
        const bool isChosen = desktop.draftLabel == i;
        list.box(chip, 8, withAlpha(label.color, isChosen ? 1 : desktop.hovered == target ? 0.26 : 0.13));
        list.text({chip.x + chip.width / 2, chip.y + 18.5}, label.name, {12.5, 600},
                  isChosen ? white : inkOf(label), Align::center);
    }
    list.text({16, 167}, "Due 27 Sep", {12.5, 500}, theme.textSoft);
    button({Part::cancelTask}, "Cancel", Look::plain);
    button({Part::addTask}, "Add task", Look::primary);
}

void View::notes() {
    const auto [x, y, width, height] = desktop.layout.rect({Part::notes});
    const auto scope = list.moved(x, y);
    windowFrame(Part::notes, {width, height}, theme.window);
    document();
    windowBar({0, 0, width, 52}, {width, height}, theme.titleBar);
    list.box({0, 52, width, 1}, 0, theme.hairline);
    list.icon(icon::document, {108, 17}, 18, blue, 1.6);
    list.text({134, 31}, "Programme", {14, 600}, theme.text);
    const double published = desktop.publishing.endsAt();
    list.text({220, 31}, now >= published && published > 0 ? "published just now" : "edited 2 min ago",
              {12.5, 400}, theme.textFaint);
    publishButton();
    windowButtons(width - 12, 26, theme.textSoft);
}

void View::document() {
    const Rect page = Layout::rectInside({Part::page});
    const double offset = desktop.scroll.offset(now);
    const auto clip = list.clipped(page);
    {
        const auto scope = list.moved(108, page.y + 8 - offset);
        double y = 0;
        for (const Passage& next : programme) passage(next, y);
    }
    const double shown = 1 - eased((now - desktop.scroll.startedAt - 0.9) / 0.4);
    if (shown <= 0) return;
    const double length = 190, top = page.y + 8 + (page.height - 16 - length) * offset / Scroll::furthest;
    list.box({page.x + page.width - 11, top, 6, length}, 3, withAlpha(theme.text, 0.30 * shown));
}

/// Goes down to the passage's last line.
void View::passage(const Passage& passage, double& y) {
    const auto& [style, text, time, place] = passage;
    switch (style) {
        case Style::title:
            list.text({0, y += 40}, text, {31, 700}, theme.text);
            break;
        case Style::date:
            y += 32;
            list.icon(icon::calendar, {0, y - 13}, 16, theme.textFaint, 1.5);
            list.text({24, y}, text, {13.5, 500}, theme.textSoft);
            break;
        case Style::banner: {
            const auto scope = list.moved(0, y + 24);
            banner();
            y += 24 + 176;
            break;
        }
        case Style::paragraph:
            y += 10;
            [[fallthrough]];
        case Style::line:
            list.text({0, y += 24}, text, {14.5, 400}, mixed(theme.text, theme.textSoft, 0.35));
            break;
        case Style::heading:
            list.text({0, y += 46}, text, {20, 600}, theme.text);
            y += 4;
            break;
        case Style::row:
            y += 42;
            list.box({0, y - 28, textColumn, 1}, 0, theme.hairline);
            list.text({2, y - 2}, time, {13.5, 600}, theme.isDark ? mixed(accent, white, 0.45) : accent);
            list.text({92, y - 2}, text, {14, 500}, theme.text);
            list.text({textColumn - 2, y - 2}, place, {13, 400}, theme.textSoft, Align::right);
            break;
        case Style::checked:
        case Style::unchecked: {
            y += 33;
            const bool isChecked = style == Style::checked;
            const Rect box{1, y - 14, 18, 18};
            if (isChecked) {
                list.box(box, 5, accent);
                list.icon(icon::check, {box.x + 2, box.y + 2}, 14, white, 2);
            } else {
                list.border(box, 5, mixed(theme.textFaint, theme.window, 0.3), 1.5);
            }
            list.text({32, y}, text, {14.5, 400}, isChecked ? theme.textFaint : theme.text);
            break;
        }
    }
}

/// Lanterns afloat on a river at night.
void View::banner() {
    constexpr double width = textColumn, height = 172, water = 118;
    list.gradient({0, 0, width, height}, 12, rgb(0x232667), rgb(0xD4739A));
    const auto clip = list.clipped({1, 1, width - 2, height - 2});
    list.glow({430, 92}, 150, rgb(0xFFB38A, 0.55));
    {
        const auto river = list.clipped({0, water, width, height - water});
        list.gradient({0, 0, width, height}, 12, rgb(0x1B1E55), rgb(0x3A2F74));
    }
    for (const auto& [x, y, size] : bannerLights) {
        list.glow({x, y}, 2.8 * size, rgb(0xFFC26B, 0.7));
        list.gradient({x - 0.42 * size, y - 0.56 * size, 0.84 * size, 1.12 * size}, 0.3 * size, rgb(0xFFEFC9),
                      rgb(0xFF9C52));
        list.glow({x, water + (water - y) * 0.42}, 1.7 * size, rgb(0xFFB066, 0.36));
    }
    for (int i = 0; i < 9; ++i)
        list.box({20 + 61.0 * i + 13 * (i % 3), 127 + 11.0 * (i % 4), 34.0 + 7 * (i % 3), 1.5}, 0.75,
                 rgb(0xFFD9B0, 0.22));
}

void View::publishButton() {
    constexpr double doneShown = 2.6;
    const Rect box = Layout::rectInside({Part::publish});
    const Point label{box.x + box.width / 2, box.y + 20.7};
    const double elapsed = now - desktop.publishing.startedAt;
    if (elapsed >= Publishing::duration + doneShown) {
        constexpr double symbolWidth = 20;  // with its gap; label and symbol are centred together
        button({Part::publish}, "Publish", Look::primary, -symbolWidth / 2);
        list.icon(icon::chevronDown, {label.x + 20, box.y + 9}, 14, white, 2);
    } else if (elapsed >= Publishing::duration) {
        list.gradient(box, 8, mixed(green, white, 0.12), green);
        list.icon(icon::check, {box.x + 18, box.y + 8}, 16, white, 2.2);
        list.text({box.x + 72, label.y}, "Done", {13, 600}, white, Align::center);
    } else {
        list.box(box, 8, withAlpha(accent, theme.isDark ? 0.34 : 0.20));
        // Whole pixels of progress: no need to draw a change that nobody sees.
        const double done = std::round(box.width * eased(elapsed / Publishing::duration));
        {
            const auto clip = list.clipped({box.x, box.y, done, box.height});
            list.box(box, 8, accent);
        }
        const int percent = static_cast<int>(100 * done / box.width);
        list.text(label, std::to_string(percent) + " %", {13, 600},
                  percent > 55 || theme.isDark ? white : theme.text, Align::center);
    }
}

void View::menu() {
    const double presence = desktop.menu.presence(now);
    if (presence <= 0) return;
    const auto [x, y, width, height] = desktop.layout.rect({Part::menu});
    const auto scope = list.moved(x, y + (1 - presence) * -6, presence);
    popover({width, height}, 12);
    for (int i = 0; i < menuItemCount; ++i) {
        const Target target{Part::menuItem, i};
        const Rect row = Layout::rectInside(target);
        const bool wasChosen =
            !desktop.menu.isOpen() && desktop.publishing.choice == i && now - desktop.publishing.startedAt < 0.2;
        const bool isLit = desktop.hovered == target || wasChosen;
        if (isLit) list.box(row, 8, accent);
        const MenuEntry& entry = menuEntries[static_cast<std::size_t>(i)];
        list.icon(entry.icon, {row.x + 12, row.y + 11}, 16, isLit ? white : theme.textSoft, 1.5);
        list.text({row.x + 40, row.y + 23.7}, entry.name, {13.5, 500}, isLit ? white : theme.text);
    }
}

void View::terminal() {
    const auto [x, top, width, height] = desktop.layout.rect({Part::terminal});
    const auto scope = list.moved(x, top);
    windowFrame(Part::terminal, {width, height}, rgb(0x161A2E));
    windowBar({0, 0, width, 36}, {width, height}, rgb(0x20253D));
    list.icon(icon::terminal, {14, 10}, 16, rgb(0x9AA3C7), 1.6);
    list.text({width / 2, 23}, "lantern-walk \u2014 site watch", {12.5, 500}, rgb(0xAEB6D6), Align::center);
    windowButtons(width - 10, 18, rgb(0xC4CBE8));

    constexpr std::ptrdiff_t mostShown = 8;
    constexpr std::array tones{rgb(0xF2F4FF), rgb(0xB9C0DC), rgb(0x7C84A6), rgb(0x6EE7A8)};
    const auto end = std::find_if(desktop.terminal.begin(), desktop.terminal.end(),
                                  [this](const TerminalLine& line) { return line.at > now; });
    const auto first = end - std::min(end - desktop.terminal.begin(), mostShown);
    double y = 60;
    for (auto line = first; line != end; ++line, y += 20)
        list.text({18, y}, line->text, {12.5, 400, true}, tones[static_cast<std::size_t>(line->tone)]);
    const bool isCaretLit = std::fmod(now, 1.2) < 0.7;
    if (isCaretLit && end - first < mostShown) list.box({18, y - 11, 8, 15}, 1, rgb(0x7C84A6));
}

void View::bar() {
    constexpr double height = 36;
    const double width = desktop.layout.desktop().width;
    list.box({0, 0, width, height}, 0, theme.bar);
    list.box({0, height - 1, width, 1}, 0, theme.hairline);
    list.gradient({16, 9, 18, 18}, 9, mixed(accent, white, 0.35), accent);
    list.box({22, 15, 6, 6}, 3, white);
    const Part front = desktop.windows.back();
    const std::string_view app = front == Part::boards ? "Boards" : front == Part::notes ? "Notes" : "Terminal";
    list.text({50, 23}, app, {13, 700}, theme.barText);
    double x = 50 + textWidth(app, 13) + 26;
    for (const std::string_view title : {"File", "Edit", "View", "Window", "Help"}) {
        list.text({x, 23}, title, {13, 500}, theme.barText);
        x += textWidth(title, 13) + 22;
    }
    const int minutes = 10 * 60 + 24 + static_cast<int>(now / 60), hour = minutes / 60 % 24, minute = minutes % 60;
    list.text({width / 2, 23},
              "Thu 5 Sep   " + std::to_string(hour) + (minute < 10 ? ":0" : ":") + std::to_string(minute),
              {13, 600}, theme.barText, Align::center);
    x = width - 38;
    for (const std::string_view status : {icon::battery, icon::volume, icon::wifi, icon::search}) {
        list.icon(status, {x, 9}, 18, theme.barText, 1.5);
        x -= 34;
    }
}

void View::dock() {
    struct App {
        std::string_view icon;
        Color top, bottom;
        bool isRunning = false;
    };
    constexpr std::array<App, dockIconCount> apps{{{icon::folder, rgb(0x7CC4FF), rgb(0x2F7BF0)},
                                                   {icon::globe, rgb(0x62E3C8), rgb(0x0E9C93)},
                                                   {icon::board, rgb(0x9C86FF), rgb(0x5B45E8), true},
                                                   {icon::document, rgb(0xFFC46B), rgb(0xF58220), true},
                                                   {icon::terminal, rgb(0x4A5275), rgb(0x1C2138), true},
                                                   {icon::note, rgb(0xFF8FB8), rgb(0xE5397F)},
                                                   {icon::gear, rgb(0xB7BED2), rgb(0x717A97)}}};
    const auto [x, y, width, height] = desktop.layout.rect({Part::dock});
    const auto scope = list.moved(x, y);
    const Rect dock{0, 0, width, height};
    list.shadow(inset(dock, 4), 16, 10, shade(0.28));
    list.box(dock, 20, theme.dock);
    list.border(dock, 20, theme.dockEdge);
    for (int i = 0; i < dockIconCount; ++i) {
        const Target target{Part::dockIcon, i};
        const Rect box = Layout::rectInside(target);
        const App& app = apps[static_cast<std::size_t>(i)];
        const double light = desktop.hovered == target ? 0.18 : 0;
        list.shadow(inset(box, 3), 4, 3, shade(0.28));
        list.gradient(box, 13, mixed(app.top, white, light), mixed(app.bottom, white, light));
        list.border(box, 13, withAlpha(white, 0.16));
        list.icon(app.icon, {box.x + 11, box.y + 11}, 26, white, 2);
        if (app.isRunning)
            list.box({box.x + box.width / 2 - 2.5, box.y + box.height + 4, 5, 5}, 2.5, withAlpha(theme.text, 0.7));
    }
}

void View::toast() {
    constexpr double lifetime = 3.4, width = 356, height = 72;
    const double age = now - (desktop.publishing.endsAt() + 0.1);
    if (age < 0 || age > lifetime) return;
    const double arrived = settled(age / 0.35), leaving = eased((age - lifetime + 0.3) / 0.3);
    const auto scope =
        list.moved(desktop.layout.desktop().width - 24 - width, 52 + (1 - arrived) * -24, arrived * (1 - leaving));
    const MenuEntry& done = menuEntries[static_cast<std::size_t>(desktop.publishing.choice)];
    popover({width, height}, 14);
    list.gradient({16, 16, 40, 40}, 20, mixed(green, white, 0.2), green);
    list.icon(icon::check, {26, 26}, 20, white, 2.4);
    list.text({72, 32}, done.doneTitle, {14, 600}, theme.text);
    list.text({72, 52}, done.doneDetail, {12.5, 400}, theme.textSoft, Align::left, width - 88);
}

void View::palette() {
    const double presence = desktop.palette.presence(now);
    if (presence <= 0) return;
    const Size size = desktop.layout.desktop();
    list.box({0, 0, size.width, size.height}, 0, shade(0.26 * presence));

    struct Command {
        std::string_view icon, name, hint;
    };
    const std::array<Command, 5> commands{{
        {theme.isDark ? icon::sun : icon::moon,
         theme.isDark ? "Switch to light appearance" : "Switch to dark appearance", ""},
        {icon::plus, "New task", "\u2318N"},
        {icon::globe, "Publish programme", "\u21e7\u2318U"},
        {icon::calendar, "Open calendar", "\u23182"},
        {icon::sun, "Go to Spring Fair", "\u23185"},
    }};
    std::vector<Command> matching;
    for (const Command& command : commands)
        if (holdsIgnoringCase(command.name, desktop.query.text)) matching.push_back(command);

    constexpr double rowHeight = 46;
    const Rect box = desktop.layout.rect({Part::palette});
    const double width = box.width, rows = static_cast<double>(matching.size());
    const auto scope = list.moved(box.x, box.y + (1 - presence) * -10, presence);
    popover({width, 64 + (matching.empty() ? 0 : 12 + rowHeight * rows)}, 16);
    list.icon(icon::search, {22, 22}, 20, theme.textFaint, 1.8);
    typing({58, 0, width - 80, 64}, desktop.query, "Type a command", 18);
    if (matching.empty()) return;
    list.box({0, 64, width, 1}, 0, theme.hairline);
    double y = 70;
    bool isFirst = true;
    for (const auto& [icon, name, hint] : matching) {
        if (isFirst) list.box({8, y, width - 16, rowHeight}, 10, accent);
        list.icon(icon, {23, y + 14}, 18, isFirst ? white : theme.textSoft, 1.6);
        list.text({58, y + 28}, name, {14.5, 500}, isFirst ? white : theme.text);
        list.text({width - 26, y + 28}, isFirst ? "\u21a9" : hint, {13, 500}, isFirst ? white : theme.textFaint,
                  Align::right);
        y += rowHeight;
        isFirst = false;
    }
}

/// The front window stands out more.
void View::windowFrame(Part window, Size size, const Color& body) {
    const Rect frame{0, 0, size.width, size.height};
    const double strength = theme.shadow * (desktop.windows.back() == window ? 1 : 0.62);
    list.shadow(inset(frame, 10), 30, 26, shade(strength));
    list.shadow(frame, 5, 2, shade(0.5 * strength));
    list.box(frame, 12, body);
    list.border(inset(frame, -1), 13, theme.windowEdge);
}

/// A bar along one of the window's edges, with its corners.
void View::windowBar(Rect bar, Size window, const Color& fill) {
    const auto clip = list.clipped(bar);
    list.box({0, 0, window.width, window.height}, 12, fill);
}

void View::windowButtons(double right, double middle, const Color& color) {
    double x = right - 72;
    for (const std::string_view shape : {icon::minimize, icon::maximize, icon::close}) {
        list.box({x - 12, middle - 12, 24, 24}, 12, withAlpha(color, 0.07));
        list.icon(shape, {x - 8, middle - 8}, 16, withAlpha(color, 0.75), 1.4);
        x += 30;
    }
}

void View::popover(Size size, double radius) {
    const Rect box{0, 0, size.width, size.height};
    list.shadow(inset(box, 6), 22, 18, shade(0.9 * theme.shadow));
    list.shadow(box, 4, 2, shade(0.5 * theme.shadow));
    list.box(box, radius, theme.popover);
    list.border(inset(box, -1), radius + 1, theme.windowEdge);
}

void View::button(Target target, std::string_view name, Look look, double labelShift) {
    const Rect box = Layout::rectInside(target);
    const bool isHovered = desktop.hovered == target, isPressed = isHovered && desktop.pressed == target;
    const Point label{box.x + box.width / 2 + labelShift, box.y + box.height / 2 + 4.7};
    if (look == Look::plain) {
        list.box(box, 8, theme.card);
        if (isHovered) list.box(box, 8, isPressed ? mixed(theme.hover, theme.text, 0.12) : theme.hover);
        list.border(box, 8, mixed(theme.hairline, theme.text, 0.07));
        list.text(label, name, {13, 500}, theme.text, Align::center);
        return;
    }
    const Color base = isPressed ? mixed(accent, shade(1), 0.25) : isHovered ? mixed(accent, white, 0.14) : accent;
    if (!isPressed) list.shadow(inset(box, 2), 5, 3, withAlpha(accent, 0.4));
    list.gradient(box, 8, isPressed ? base : mixed(base, white, 0.10), base);
    list.text(label, name, {13, 600}, white, Align::center);
}

void View::avatar(Point center, double radius, int person) {
    const auto& [name, color] = people[static_cast<std::size_t>(person)];
    list.gradient({center.x - radius, center.y - radius, 2 * radius, 2 * radius}, radius,
                  mixed(color, white, 0.22), color);
    list.text({center.x, center.y + 0.36 * radius}, name.substr(0, 1), {radius, 600}, white, Align::center);
}

/// With a caret that blinks about once a second, but not while somebody types.
void View::typing(Rect field, const TextField& text, std::string_view placeholder, double size) {
    const double baseline = field.y + field.height / 2 + 0.36 * size;
    const bool isCaretLit = std::fmod(now - text.lastInput, 1.06) < 0.6;
    if (text.text.empty()) {
        list.text({field.x + 3, baseline}, placeholder, {size, 400}, theme.textFaint);
        if (isCaretLit) list.box({field.x, baseline - size, 1.6, 1.3 * size}, 0.8, accent);
    } else {
        list.typedText({field.x, baseline}, text.text, {size, 500}, theme.text,
                       isCaretLit ? accent : withAlpha(accent, 0));
    }
}

}  // namespace

void listDesktop(DrawList& list, const Desktop& desktop, bool isDark, const Color& accent, double now) {
    View{list, desktop, Theme{isDark}, accent, now}.everything();
}

}  // namespace lumenwhirl::demo
