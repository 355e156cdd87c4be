#include "Recorder/EventTap.h"

#include "Recorder/Package/EventJournal.h"
#include "Tests/Recorder/ScriptedDesktop.h"
#include "Tests/Support/Files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace lumenwhirl::test {
namespace {

using Kind = InputEvent::Kind;
using Names = std::vector<std::string>;

constexpr double startTime = 700'000;  // the host clock after eight days
// The right one of two displays with two pixels a point.
constexpr DisplayInfo display{1, 2880, 1800, 1440, 900, 2, 1440, 100};

class Tap : public testing::Test {
protected:
    std::unique_ptr<EventTap> started(double moveHz = 120, EventJournal* journal = nullptr) {
        auto tap = std::make_unique<EventTap>(display, startTime, moveHz, std::make_unique<ScriptedInput>(input_),
                                              journal, EventTap::Shortcut{19, {.command = true, .shift = true}});
        EXPECT_TRUE(tap->start());
        return tap;
    }
    void move(double t, Point position = {1440, 100}) {
        input_.deliver({.kind = Kind::moved, .time = startTime + t, .position = position});
    }
    void click(double t, Point position, MouseButton button, ClickPhase phase) {
        input_.deliver({.kind = Kind::buttonChanged,
                        .time = startTime + t,
                        .position = position,
                        .button = button,
                        .phase = phase});
    }
    void scroll(double t, Point position, double dx, double dy) {
        input_.deliver({.kind = Kind::scrolled, .time = startTime + t, .position = position, .dx = dx, .dy = dy});
    }
    void key(double t, std::int64_t code, const std::string& characters, const Modifiers& modifiers,
             bool isRepeat = false) {
        input_.deliver({.kind = Kind::keyDown,
                        .time = startTime + t,
                        .keyCode = code,
                        .characters = characters,
                        .modifiers = modifiers,
                        .isRepeat = isRepeat});
    }

    ScriptedInput::Controls input_;
};

TEST_F(Tap, logsPositionsInCapturedPixelsClampedToTheEdges) {
    const auto tap = started(0);
    move(0, {1500.25, 350});  // 60.25 and 250 points from the corner
    move(1, {99999, 5000});
    click(2, {1430, 105}, MouseButton::left, ClickPhase::down);  // 10 left of the edge, 5 below the top
    scroll(3, {1440, 1}, 0, -1);
    tap->setArea({1000, 200}, 1);
    move(4, {1010, 220});
    tap->setArea({1000, 200}, 0.5);  // a window that has doubled its size is shown at half of it
    move(5, {1010, 220});
    const auto events = tap->stop();
    EXPECT_EQ(events.cursor,
              (std::vector<CursorSample>{{0, 120.5, 500}, {1, 2880, 1800}, {4, 20, 40}, {5, 10, 20}}));
    EXPECT_EQ(events.clicks, (std::vector<ClickEvent>{{2, 0, 10, MouseButton::left, ClickPhase::down}}));
    EXPECT_EQ(events.scroll, (std::vector<ScrollEvent>{{3, 0, 0, 0, -1}}));
}

TEST_F(Tap, limitsTheRateOfMovesAndOfNothingElse) {
    const auto tap = started(120);
    std::vector<double> kept;
    const auto expectKept = [&](double t) {
        move(t);
        kept.push_back(startTime + t - startTime);
    };
    expectKept(0);
    move(1 / 240.0);
    // At exactly the interval, however it is rounded.
    for (int index = 1; index <= 1000; ++index) expectKept(index / 120.0);
    click(1000 / 120.0 + 0.001, {}, MouseButton::right, ClickPhase::down);
    click(1000 / 120.0 + 0.002, {}, MouseButton::right, ClickPhase::up);
    scroll(1000 / 120.0 + 0.003, {}, 1, 0);
    scroll(1000 / 120.0 + 0.004, {}, 1, 0);
    move(1000 / 120.0 + 0.005);
    expectKept(1000 / 120.0 + 0.0084);  // counted from the last move kept, whatever clicks came between
    const auto events = tap->stop();
    std::vector<double> times;
    for (const CursorSample& sample : events.cursor) times.push_back(sample.t);
    EXPECT_EQ(times, kept);
    EXPECT_EQ(events.clicks.size(), 2U);
    EXPECT_EQ(events.scroll.size(), 2U);
}

TEST_F(Tap, logsKeysWithModifiersInOneOrderButNotTheStopKey) {
    const auto tap = started();
    key(0, 0, "a", {.command = true, .shift = true});
    key(1, 0, "ä", {true, true, true, true, true});
    key(2, 124, "", {});
    key(2.5, 124, "", {}, true);
    // The shortcut to ignore, and keys that differ from it.
    key(3, 19, "\"", {.command = true, .shift = true});
    key(3, 19, "\"", {.command = true, .shift = true}, true);
    key(4, 19, "2", {.command = true});
    key(5, 19, "\"", {.command = true, .shift = true, .option = true});
    const std::vector<KeyEvent> expected{{0, 0, "a", Names{"cmd", "shift"}, false},
                                         {1, 0, "ä", Names{"cmd", "shift", "option", "control", "fn"}, false},
                                         {2, 124, "", {}, false},
                                         {2.5, 124, "", {}, true},
                                         {4, 19, "2", Names{"cmd"}, false},
                                         {5, 19, "\"", Names{"cmd", "shift", "option"}, false}};
    EXPECT_EQ(tap->stop().keys, expected);
}

TEST_F(Tap, dropsWhatWasBeforeTheStartAndTakesWhatComesWhileStopping) {
    const auto tap = started();
    move(-0.001);
    click(-1, {}, MouseButton::left, ClickPhase::down);
    key(-0.5, 0, "a", {});
    move(0);  // kept, although a move was just before
    input_.onStop = [&] { move(1000); };
    const auto events = tap->stop();
    EXPECT_EQ(events,
              (EventTap::Events{.cursor = {{0, 0, 0}, {1000, 0, 0}}, .clicks = {}, .scroll = {}, .keys = {}}));
    EXPECT_EQ(tap->stop(), events);
}

TEST_F(Tap, logsNothingWithoutInput) {
    EventTap neverStarted(display, startTime, 120, std::make_unique<ScriptedInput>(input_), nullptr);
    EXPECT_EQ(neverStarted.stop(), EventTap::Events{});
    input_.startFailure = "nothing to listen to";
    EventTap deaf(display, startTime, 120, std::make_unique<ScriptedInput>(input_), nullptr);
    EXPECT_FALSE(deaf.start());
    EXPECT_EQ(deaf.stop(), EventTap::Events{});
    EventTap none(display, startTime, 120, nullptr, nullptr);
    EXPECT_FALSE(none.start());
    EXPECT_EQ(none.stop(), EventTap::Events{});
}

// Of devices whose stamps disagree by some milliseconds.
TEST_F(Tap, sortsTheLogAndTheJournalHoldsTheSame) {
    const TemporaryFolder package;
    const RecordingInfo info{startTime, 60, display};
    EventJournal journal(package.path(), info);
    const auto tap = started(120, &journal);
    std::mt19937 random(5);
    std::uniform_real_distribution<double> jitter(0, 0.01), place(0, 3000);
    for (int index = 0; index < 4000; ++index) {
        const double t = index / 1000.0 + jitter(random);
        const Point position{place(random), place(random)};
        switch (random() % 4) {
            case 0:
                click(t, position, MouseButton::other, ClickPhase::up);
                break;
            case 1:
                scroll(t, position, -1, 0);
                break;
            case 2:
                key(t, 5, "€", {.option = true});
                break;
            default:
                move(t, position);
        }
    }
    const auto events = tap->stop();
    const auto isSorted = [](const auto& array) {
        return std::ranges::is_sorted(array, {}, [](const auto& event) { return event.t; });
    };
    EXPECT_TRUE(isSorted(events.cursor) && isSorted(events.clicks) && isSorted(events.scroll) &&
                isSorted(events.keys));
    EXPECT_GT(events.keys.size(), 900U);
    EXPECT_EQ(EventJournal::read(package.path()),
              (EventLog{1, info, events.cursor, events.clicks, events.scroll, events.keys}));
}

}  // namespace
}  // namespace lumenwhirl::test
