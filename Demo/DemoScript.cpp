#include "Demo/DemoScript.h"

#include "Demo/Desktop.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <numbers>
#include <string>
#include <string_view>
#include <utility>

namespace lumenwhirl::demo {
namespace {

constexpr double roundLength = 12;
// An automatic zoom lasts 1.6 s beyond its last click; a later round that is cut short must not end inside one.
constexpr double viewOpensAgain = 1.7;

constexpr std::array<std::string_view, 7> tasks{"Soundcheck", "Fireworks", "Photographer", "Programmes",
                                                "Volunteers", "Rehearsal", "Lighting"};
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

// What the keys of a US layout type; index: virtual key code.
constexpr std::string_view keys = "asdfhgzxcv\001bqweryt123465=97-80]ou[ip\rlj'k;\\,/nm.\t `";
static_assert(keys[1] == 's' && keys[35] == 'p' && keys[36] == '\r' && keys[49] == ' ');

/// Position along a minimum-jerk movement, 0...1 (Flash and Hogan, 1985).
double minimumJerk(double p) {
    return p * p * p * (10 - 15 * p + 6 * p * p);
}

Point mix(Point a, Point b, double p) {
    return {a.x + (b.x - a.x) * p, a.y + (b.y - a.y) * p};
}

/// One movement of the hand.
struct Sweep {
    Point from, to;
    double start = 0, duration = 0;
    double bow = 0;     // how far the middle of the way lies beside the straight line
    double tremor = 0;  // amplitude
    double phase = 0;   // of the tremor
};

void addSweep(std::vector<CursorSample>& samples, const Sweep& sweep) {
    constexpr double sampleRate = 120;
    const double dx = sweep.to.x - sweep.from.x, dy = sweep.to.y - sweep.from.y;
    const double length = std::max(std::hypot(dx, dy), 1e-9);
    const Point side{-dy / length, dx / length};
    // A quadratic curve passes its middle at half the control point's offset.
    const Point middle = mix(sweep.from, sweep.to, 0.45);
    const Point control{middle.x + side.x * 2 * sweep.bow, middle.y + side.y * 2 * sweep.bow};
    const int count = std::max(1, static_cast<int>(std::ceil(sweep.duration * sampleRate)));
    for (int i = 1; i <= count; ++i) {
        const double linear = static_cast<double>(i) / count;
        const double p = minimumJerk(linear);
        const Point onCurve = mix(mix(sweep.from, control, p), mix(control, sweep.to, p), p);
        const double time = sweep.duration * linear;
        const double speed = 16 * linear * linear * (1 - linear) * (1 - linear);  // 1 at its peak, 0 at both ends
        // Physiological tremor lies at 8 to 12 Hz.
        const double shake = sweep.tremor * speed *
                             (std::sin(2 * std::numbers::pi * 9.1 * time + sweep.phase) +
                              0.5 * std::sin(2 * std::numbers::pi * 11.7 * time + 2.3 * sweep.phase));
        samples.push_back({sweep.start + time, onCurve.x + side.x * shake, onCurve.y + side.y * shake});
    }
}

/// How a hand takes the pointer to a target of some width: one bowed sweep with a bell-shaped speed, over long
/// distances a little too far, then a short correction. Ends exactly on `to`; empty for no distance.
std::vector<CursorSample> handPath(Point from, Point to, double targetWidth, double startTime, Random& random) {
    std::vector<CursorSample> samples;
    const double dx = to.x - from.x, dy = to.y - from.y;
    const double distance = std::hypot(dx, dy);
    if (distance < 0.5) return samples;

    // Fitts' law in Shannon's form; the constants are those of a practised hand on a mouse.
    const double reachTime = 0.13 + 0.10 * std::log2(distance / targetWidth + 1);
    Sweep sweep{from, to, startTime, reachTime * random.between(0.92, 1.06)};
    sweep.bow = std::min(distance * 0.07, 46.0) * random.between(0.35, 1) * (random.below(4) == 0 ? -1 : 1);
    sweep.tremor = random.between(0.25, 0.6);
    sweep.phase = random.between(0, 2 * std::numbers::pi);
    const bool overshoots = distance > 220;
    if (overshoots) {
        const double beyond = std::min(distance * random.between(0.012, 0.028), 16.0);
        const double aside = random.between(-0.5, 0.5) * beyond;
        sweep.to = {to.x + dx / distance * beyond - dy / distance * aside,
                    to.y + dy / distance * beyond + dx / distance * aside};
        sweep.duration *= 0.86;
    }
    addSweep(samples, sweep);
    if (overshoots) {
        const double noticed = samples.back().t + random.between(0.03, 0.06);
        addSweep(samples, {sweep.to, to, noticed, random.between(0.12, 0.17), 0, 0.1, sweep.phase});
    }
    samples.back().x = to.x;
    samples.back().y = to.y;
    return samples;
}

/// A person with one hand on the mouse and two at the keyboard. Whatever they do goes into the log and to their
/// desktop at once, so that they see what they are about to click.
class Performer {
public:
    Performer(const Layout& layout, double seconds, std::uint64_t seed)
        : desktop_(layout), seconds_(seconds), random_(seed) {
        const Point stage = layout.stage();
        hand_ = {stage.x + 1010 + random_.between(-60, 60), stage.y + 690 + random_.between(-50, 50)};
    }

    // Each takes the start of its round.
    /// Clicks from about 1.4 s to 3.7 s of the round, all near the board's first column.
    void addTask(double start, std::size_t number);
    void readProgramme(double start, bool downwards);
    /// Clicks from about 6.9 s to 7.8 s, near the document's upper right corner.
    void publishProgramme(double start, int choice);
    void changeAppearance(double start);

    [[nodiscard]] std::size_t choose(std::size_t count) { return random_.below(count); }
    /// From now on no click comes later than this.
    void stopClickingAt(double time) { lastClick_ = time; }
    EventLog takeLog() { return std::move(log_); }

private:
    void waitUntil(double time) { now_ = std::max(now_, time); }
    void pause(double least, double most) { now_ += random_.between(least, most); }
    void reach(Target target);
    void reach(Point to, double width);
    void click();
    void scroll(int direction, double duration);
    void type(std::string_view text);
    void press(char character, std::vector<std::string> modifiers);

    /// A hundredth of a pixel is finer than any mouse, and keeps the document short.
    [[nodiscard]] double pixel(double logical) const {
        return std::round(logical * desktop_.layout.scale() * 100) / 100;
    }
    template <class Event>
    void log(std::vector<Event>& events, Event event) {
        if (event.t >= seconds_) return;
        desktop_.handle(event);
        events.push_back(std::move(event));
    }

    Desktop desktop_;
    double seconds_;
    Random random_;
    double now_ = 0, lastClick_ = 1e300;
    Point hand_;
    EventLog log_;
};

void Performer::addTask(double start, std::size_t number) {
    waitUntil(start + 0.4);
    reach({Part::newTask});
    waitUntil(start + 1.15);
    click();
    pause(0.28, 0.36);
    type(tasks[number % tasks.size()]);
    pause(0.02, 0.08);
    reach({Part::labelChip, static_cast<int>(1 + random_.below(labelCount - 1))});
    click();
    pause(0.04, 0.1);
    reach({Part::addTask});
    click();
}

void Performer::readProgramme(double start, bool downwards) {
    waitUntil(start + 4.05);
    const Rect page = desktop_.layout.rect({Part::page});
    const double x = page.x + page.width * random_.between(0.45, 0.6);
    reach({x, page.y + page.height * random_.between(0.5, 0.65)}, 160);
    pause(0.05, 0.15);
    scroll(downwards ? -1 : 1, 0.85);
    pause(0.1, 0.2);
    press('s', {"cmd"});
}

void Performer::publishProgramme(double start, int choice) {
    waitUntil(start + 6.15);
    reach({Part::publish});
    waitUntil(start + 6.75);
    click();
    pause(0.18, 0.28);
    reach({Part::menuItem, choice});
    pause(0, 0.08);
    click();
    // The hand leaves the mouse and pushes it away a little.
    pause(0.1, 0.2);
    const Rect page = desktop_.layout.rect({Part::page});
    const double x = page.x + page.width * random_.between(0.62, 0.72);
    reach({x, page.y + page.height * random_.between(0.36, 0.46)}, 120);
}

void Performer::changeAppearance(double start) {
    waitUntil(start + 9.55 + random_.between(0, 0.1));
    press('p', {"shift", "cmd"});
    pause(0.38, 0.48);
    type(desktop_.isDark ? "light" : "dark");
    waitUntil(start + 10.75);
    press('\r', {});
}

void Performer::reach(Target target) {
    const Rect box = desktop_.layout.rect(target);
    // People aim at the middle and miss it by a fraction of the target.
    const double x = box.x + box.width * random_.between(0.38, 0.62);
    reach({x, box.y + box.height * random_.between(0.38, 0.62)}, std::min(box.width, box.height));
}

void Performer::reach(Point to, double width) {
    for (const CursorSample& sample : handPath(hand_, to, width, now_, random_)) {
        now_ = sample.t;
        log(log_.cursor, CursorSample{sample.t, pixel(sample.x), pixel(sample.y)});
    }
    hand_ = to;
}

void Performer::click() {
    pause(0.09, 0.16);
    const double released = now_ + random_.between(0.075, 0.115);
    if (now_ <= lastClick_ && released < seconds_)
        for (const auto& [time, phase] : {std::pair{now_, ClickPhase::down}, {released, ClickPhase::up}})
            log(log_.clicks, ClickEvent{time, pixel(hand_.x), pixel(hand_.y), MouseButton::left, phase});
    now_ = released;
}

/// Gently at first and at the end.
void Performer::scroll(int direction, double duration) {
    constexpr std::array<double, 9> lines{1, 2, 3, 2, 3, 2, 3, 2, 1};
    for (const double step : lines) {
        now_ += duration / lines.size() * random_.between(0.85, 1.15);
        log(log_.scroll, ScrollEvent{now_, pixel(hand_.x), pixel(hand_.y), 0, direction * step});
    }
}

void Performer::type(std::string_view text) {
    using Modifiers = std::vector<std::string>;
    for (const char character : text) {
        press(character, character >= 'A' && character <= 'Z' ? Modifiers{"shift"} : Modifiers{});
        pause(0.045, 0.095);
    }
}

void Performer::press(char character, std::vector<std::string> modifiers) {
    const auto key = keys.find(static_cast<char>(std::tolower(static_cast<unsigned char>(character))));
    log(log_.keys,
        KeyEvent{now_, static_cast<std::int64_t>(key), std::string(1, character), std::move(modifiers), false});
}

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
    Performer person(Layout(pixelWidth, pixelHeight), seconds, seed);
    const auto rounds = static_cast<std::size_t>(std::ceil(seconds / roundLength));
    const std::size_t firstTask = person.choose(1000);
    for (std::size_t round = 0; round < rounds; ++round) {
        const double start = roundLength * static_cast<double>(round);
        // A first round that is cut short still shows all it can.
        if (round > 0) person.stopClickingAt(seconds - viewOpensAgain);
        person.addTask(start, firstTask + round);
        person.readProgramme(start, round % 2 == 0);
        person.publishProgramme(start, round == 0 ? 0 : static_cast<int>(person.choose(menuItemCount)));
        person.changeAppearance(start);
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
