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
constexpr DisplayInfo display{1, 2880, 1800, 1440, 900, 2, 0, 0};

class Tap : public testing::Test {
protected:
    std::unique_ptr<EventTap> started(EventJournal* journal = nullptr) {
        auto tap = std::make_unique<EventTap>(display, startTime, 120, std::make_unique<ScriptedInput>(input_),
                                              journal, EventTap::Shortcut{19, {.command = true, .shift = true}});
        EXPECT_TRUE(tap->start());
        return tap;
    }
    void move(double t, Point position = {}) { input_.deliver({Kind::moved, startTime + t, position}); }
    void click(double t, Point position = {}) { input_.deliver({Kind::buttonChanged, startTime + t, position}); }
    void scroll(double t, Point position = {}) {
        input_.deliver({.kind = Kind::scrolled, .time = startTime + t, .position = position, .dx = -1});
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

TEST_F(Tap, limitsTheRateOfMovesAndOfNothingElse) {
    const auto tap = started();
    std::vector<double> kept;
    const auto expectKept = [&](double t) {
        move(t);
        kept.push_back(startTime + t - startTime);
    };
    expectKept(0);
    move(1 / 240.0);
    // At exactly the interval, however it is rounded.
    for (int index = 1; index <= 1000; ++index) expectKept(index / 120.0);
    for (const double delay : {0.001, 0.002}) {
        click(1000 / 120.0 + delay);
        scroll(1000 / 120.0 + delay);
    }
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
    click(-1);
    key(-0.5, 0, "a", {});
    move(0);  // kept, although a move was just before
    input_.onStop = [&] { move(1000); };
    EXPECT_EQ(tap->stop(),
              (EventTap::Events{.cursor = {{0, 0, 0}, {1000, 0, 0}}, .clicks = {}, .scroll = {}, .keys = {}}));
}

// Of devices whose stamps disagree by some milliseconds.
TEST_F(Tap, sortsTheLogAndTheJournalHoldsTheSame) {
    const TemporaryFolder package;
    const RecordingInfo info{startTime, 60, display};
    EventJournal journal(package.path(), info);
    const auto tap = started(&journal);
    std::mt19937 random(5);
    std::uniform_real_distribution<double> jitter(0, 0.01), place(0, 3000);
    for (int index = 0; index < 4000; ++index) {
        const double t = index / 1000.0 + jitter(random);
        const Point position{place(random), place(random)};
        const unsigned kind = random() % 4;
        if (kind == 0) click(t, position);
        if (kind == 1) scroll(t, position);
        if (kind == 2) key(t, 5, "€", {.option = true});
        if (kind == 3) move(t, position);
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
