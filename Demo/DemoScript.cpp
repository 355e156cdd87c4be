#include "Demo/DemoScript.h"

#include "Demo/Desktop.h"
#include "Demo/HumanPath.h"
#include "Demo/KeyCodes.h"
#include "Demo/Random.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <string_view>
#include <utility>

namespace lumenwhirl::demo {
namespace {

using Kind = Target::Kind;

constexpr double roundLength = 12;
// An automatic zoom lasts 1.6 s beyond its last click; a later round that is cut short must not end inside one.
constexpr double viewOpensAgain = 1.7;

/// A person with one hand on the mouse and two at the keyboard. Whatever they do goes into the log and to their
/// desktop at once, so that they see what they are about to click.
class Performer {
public:
    Performer(const DesktopLayout& layout, double seconds, std::uint64_t seed)
        : desktop_(layout), scale_(layout.scale()), seconds_(seconds), random_(seed) {
        const Rect stage = layout.stage();
        hand_ = {stage.x + 1010 + random_.between(-60, 60), stage.y + 690 + random_.between(-50, 50)};
    }

    void waitUntil(double time) { now_ = std::max(now_, time); }
    void pause(double least, double most) { now_ += random_.between(least, most); }
    [[nodiscard]] double now() const { return now_; }
    [[nodiscard]] Random& random() { return random_; }
    [[nodiscard]] const DesktopState& sees() const { return desktop_.state(); }
    EventLog takeLog() { return std::move(log_); }
    /// From now on no click comes later than this.
    void stopClickingAt(double time) { lastClick_ = time; }

    void reach(Target target) {
        const Rect box = desktop_.state().layout.rect(target);
        // People aim at the middle and miss it by a fraction of the target.
        reachPoint(
            {box.x + box.width * random_.between(0.38, 0.62), box.y + box.height * random_.between(0.38, 0.62)},
            std::min(box.width, box.height));
    }

    void reachPoint(Point to, double width) {
        for (const CursorSample& sample : humanPath(hand_, to, width, now_, random_)) {
            now_ = sample.t;
            log(log_.cursor, CursorSample{sample.t, pixel(sample.x), pixel(sample.y)});
        }
        hand_ = to;
    }

    void click() {
        pause(0.09, 0.16);
        const double released = now_ + random_.between(0.075, 0.115);
        if (now_ <= lastClick_ && released < seconds_)
            for (const auto& [time, phase] : {std::pair{now_, ClickPhase::down}, {released, ClickPhase::up}})
                log(log_.clicks, ClickEvent{time, pixel(hand_.x), pixel(hand_.y), MouseButton::left, phase});
        now_ = released;
    }

    /// Down for a positive number of lines: gently at first and at the end.
    void scroll(int lines, double duration) {
        const int count = std::abs(lines) / 2;
        for (int i = 0; i < count; ++i) {
            now_ += duration / count * random_.between(0.85, 1.15);
            const bool isMiddle = i > 0 && i < count - 1;
            const double step = isMiddle ? (i % 2 == 0 ? 3 : 2) : 1;
            log(log_.scroll, ScrollEvent{now_, pixel(hand_.x), pixel(hand_.y), 0, lines > 0 ? -step : step});
        }
    }

    void type(std::string_view text) {
        for (const char character : text) {
            const KeyStroke stroke = keyStrokeFor(character);
            press(stroke.code, std::string(1, character),
                  stroke.shift ? std::vector<std::string>{"shift"} : std::vector<std::string>{});
            pause(0.045, 0.095);
        }
    }

    void shortcut(char character, std::vector<std::string> modifiers) {
        press(keyStrokeFor(character).code, std::string(1, character), std::move(modifiers));
    }

    void press(std::int64_t code, std::string chars, std::vector<std::string> modifiers = {}) {
        log(log_.keys, KeyEvent{now_, code, std::move(chars), std::move(modifiers), false});
    }

private:
    /// A hundredth of a pixel is finer than any mouse, and keeps the document short.
    [[nodiscard]] double pixel(double logical) const { return std::round(logical * scale_ * 100) / 100; }

    template <class Event>
    void log(std::vector<Event>& events, Event event) {
        if (event.t >= seconds_) return;
        desktop_.handle(event);
        events.push_back(std::move(event));
    }

    Desktop desktop_;
    double scale_, seconds_;
    Random random_;
    double now_ = 0, lastClick_ = 1e300;
    Point hand_;
    EventLog log_;
};

/// Clicks from about 1.4 s to 3.7 s of the round, all near the board's first column.
void addTask(Performer& person, double start, std::size_t number) {
    constexpr std::array<std::string_view, 7> tasks{"Soundcheck", "Fireworks", "Photographer", "Programmes",
                                                    "Volunteers", "Rehearsal", "Lighting"};
    person.waitUntil(start + 0.4);
    person.reach({Kind::newTask});
    person.waitUntil(start + 1.15);
    person.click();
    person.pause(0.28, 0.36);
    person.type(tasks[number % tasks.size()]);
    person.pause(0.02, 0.08);
    person.reach({Kind::labelChip, static_cast<int>(1 + person.random().below(labelCount - 1))});
    person.click();
    person.pause(0.04, 0.1);
    person.reach({Kind::addTask});
    person.click();
}

void readProgramme(Performer& person, double start, bool downwards) {
    person.waitUntil(start + 4.05);
    const Rect page = person.sees().layout.page();
    person.reachPoint({page.x + page.width * person.random().between(0.45, 0.6),
                       page.y + page.height * person.random().between(0.5, 0.65)},
                      160);
    person.pause(0.05, 0.15);
    person.scroll(downwards ? 18 : -18, 0.85);
    person.pause(0.1, 0.2);
    person.shortcut('s', {"cmd"});
}

/// Clicks from about 6.9 s to 7.8 s, near the document's upper right corner.
void publishProgramme(Performer& person, double start, int choice) {
    person.waitUntil(start + 6.15);
    person.reach({Kind::publish});
    person.waitUntil(start + 6.75);
    person.click();
    person.pause(0.18, 0.28);
    person.reach({Kind::menuItem, choice});
    person.pause(0, 0.08);
    person.click();
    // The hand leaves the mouse; it pushes it away a little.
    person.pause(0.1, 0.2);
    const Rect page = person.sees().layout.page();
    person.reachPoint({page.x + page.width * person.random().between(0.62, 0.72),
                       page.y + page.height * person.random().between(0.36, 0.46)},
                      120);
}

void changeAppearance(Performer& person, double start) {
    person.waitUntil(start + 9.55 + person.random().between(0, 0.1));
    person.shortcut('p', {"shift", "cmd"});
    person.pause(0.38, 0.48);
    person.type(person.sees().isDark ? "light" : "dark");
    person.waitUntil(start + 10.75);
    person.press(keyCode::returnKey, "\r");
}

struct Line {
    double start, end;  // in the round
    std::string_view text;
};
constexpr std::array<std::array<Line, 5>, 3> spoken{{
    {{{0.45, 2.35, "This is a recording made with Lumenwhirl"},
      {2.65, 4.65, "It follows your clicks and zooms in by itself"},
      {5.00, 6.55, "The pointer glides, whatever the hand does"},
      {7.00, 9.05, "Captions and shortcuts appear where they help"},
      {9.60, 11.50, "And everything can still be changed later"}}},
    {{{0.50, 2.30, "One more task for the evening by the river"},
      {2.60, 4.50, "A label, a title, and it is on the board"},
      {4.90, 6.50, "The programme reads well from top to bottom"},
      {7.00, 8.90, "So let us send it out to everybody"},
      {9.60, 11.40, "And back to the other colours"}}},
    {{{0.50, 2.40, "Nothing here was drawn by hand afterwards"},
      {2.70, 4.60, "The camera knows where the clicks are"},
      {5.00, 6.50, "Between them you see the whole screen"},
      {7.00, 9.00, "Padding, shadow and corners are yours to choose"},
      {9.60, 11.40, "Try another background in the editor"}}},
}};

void say(std::vector<CaptionCue>& cues, std::size_t round, double seconds) {
    constexpr double shortest = 0.4;
    const double start = roundLength * static_cast<double>(round);
    // The first words are said once only.
    const std::size_t chosen = round == 0 ? 0 : 1 + (round - 1) % (spoken.size() - 1);
    for (const Line& line : spoken[chosen])
        if (start + line.start + shortest <= seconds)
            cues.push_back({start + line.start, std::min(start + line.end, seconds), std::string(line.text)});
}

}  // namespace

DemoScript writeDemoScript(double seconds, int pixelWidth, int pixelHeight, int fps, std::uint64_t seed) {
    DemoScript script;
    Performer person(DesktopLayout(pixelWidth, pixelHeight), seconds, seed);
    const auto rounds = static_cast<std::size_t>(std::ceil(seconds / roundLength));
    const std::size_t firstTask = person.random().below(1000);
    for (std::size_t round = 0; round < rounds; ++round) {
        const double start = roundLength * static_cast<double>(round);
        // A first round that is cut short still shows all it can.
        if (round > 0) person.stopClickingAt(seconds - viewOpensAgain);
        addTask(person, start, firstTask + round);
        readProgramme(person, start, round % 2 == 0);
        publishProgramme(person, start, round == 0 ? 0 : static_cast<int>(person.random().below(menuItemCount)));
        changeAppearance(person, start);
        say(script.cues, round, seconds);
    }
    script.log = person.takeLog();
    // A computer that was switched on some hours ago.
    Random random(seed ^ 0x5DEECE66DU);
    script.log.recording = {std::round(random.between(4000, 90000) * 1e6) / 1e6,
                            fps,
                            {1, pixelWidth, pixelHeight, pixelWidth, pixelHeight, 1, 0, 0}};
    return script;
}

}  // namespace lumenwhirl::demo
