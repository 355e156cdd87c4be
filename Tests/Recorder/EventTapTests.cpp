#include "Recorder/EventTap.h"

#include "Recorder/Package/EventJournal.h"
#include "Recorder/Platform/PlatformError.h"
#include "Tests/Support/Files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace lumenwhirl {
namespace {

using Kind = InputEvent::Kind;
using Names = std::vector<std::string>;

constexpr double startTime = 700'000;  // the host clock after eight days
// The right one of two displays with two pixels a point.
constexpr DisplayInfo display{1, 2880, 1800, 1440, 900, 2, 1440, 100};

/// Delivers what the test tells it.
class ScriptedInput final : public InputStream {
public:
    ScriptedInput(Handler& handler, bool canStart) : handler_(handler), canStart_(canStart) {}
    void start(Handler handler) override {
        if (!canStart_) throw PlatformError(PlatformError::Kind::unsupported, "nothing to listen to");
        handler_ = std::move(handler);
    }
    /// A last event that had not been delivered yet.
    void stop() noexcept override {
        if (!handler_) return;
        InputEvent last;
        last.time = startTime + 1000;
        std::exchange(handler_, nullptr)(last);
    }

private:
    Handler& handler_;
    bool canStart_;
};

class Tap : public testing::Test {
protected:
    std::unique_ptr<InputStream> stream(bool canStart = true) {
        return std::make_unique<ScriptedInput>(handler_, canStart);
    }
    /// A tap that has started, and says so.
    std::unique_ptr<EventTap> started(double moveHz, EventJournal* journal = nullptr) {
        auto tap = std::make_unique<EventTap>(display, startTime, moveHz, stream(), journal,
                                              EventTap::Shortcut{19, {.command = true, .shift = true}});
        EXPECT_TRUE(tap->start());
        return tap;
    }
    void move(double t, Point position = {1440, 100}) { handler_(event(Kind::moved, t, position)); }
    void click(double t, Point position, MouseButton button, ClickPhase phase) {
        InputEvent click = event(Kind::buttonChanged, t, position);
        click.button = button;
        click.phase = phase;
        handler_(click);
    }
    void scroll(double t, Point position, double dx, double dy) {
        InputEvent scroll = event(Kind::scrolled, t, position);
        scroll.dx = dx;
        scroll.dy = dy;
        handler_(scroll);
    }
    void key(double t, std::int64_t code, const std::string& characters, const Modifiers& modifiers,
             bool isRepeat = false) {
        InputEvent key = event(Kind::keyDown, t, {});
        key.keyCode = code;
        key.characters = characters;
        key.modifiers = modifiers;
        key.isRepeat = isRepeat;
        handler_(key);
    }
    static InputEvent event(Kind kind, double t, Point position) {
        InputEvent event;
        event.kind = kind;
        event.time = startTime + t;
        event.position = position;
        return event;
    }
    /// Without the one that stop() still delivers.
    static std::vector<CursorSample> movesOf(EventTap& tap) {
        auto moves = tap.stop().cursor;
        EXPECT_FALSE(moves.empty());
        EXPECT_EQ(moves.back().t, 1000);
        moves.pop_back();
        return moves;
    }

    InputStream::Handler handler_;
};

TEST_F(Tap, positionsAreCapturedPixelsPinnedToTheEdges) {
    const auto tap = started(0);
    move(0, {1500.25, 350});  // 60.25 and 250 points from the corner
    move(1, {99999, 5000});
    click(2, {1430, 105}, MouseButton::left, ClickPhase::down);  // 10 to the left, 5 below the top
    scroll(3, {1440, 1}, 0, -1);
    const auto events = tap->stop();
    ASSERT_EQ(events.cursor.size(), 3U);
    EXPECT_EQ(events.cursor[0], (CursorSample{0, 120.5, 500}));
    EXPECT_EQ(events.cursor[1], (CursorSample{1, 2880, 1800}));
    EXPECT_EQ(events.clicks, (std::vector<ClickEvent>{{2, 0, 10, MouseButton::left, ClickPhase::down}}));
    EXPECT_EQ(events.scroll, (std::vector<ScrollEvent>{{3, 0, 0, 0, -1}}));
}

TEST_F(Tap, positionsFollowAWindowThatMovesAndIsResized) {
    const auto tap = started(0);
    tap->setArea({1000, 200}, 1);
    move(0, {1010, 220});
    tap->setArea({1000, 200}, 0.5);  // twice as large now, so shown at half its size
    move(1, {1010, 220});
    tap->setArea({0, 0}, 1);
    move(2, {10, 20});
    EXPECT_EQ(movesOf(*tap), (std::vector<CursorSample>{{0, 20, 40}, {1, 10, 20}, {2, 20, 40}}));
}

TEST_F(Tap, movesAreThinnedToTheRateAndNothingElseIs) {
    const auto tap = started(120);
    std::vector<double> kept;
    const auto expectKept = [&](double t) {
        move(t);
        kept.push_back(startTime + t - startTime);
    };
    expectKept(0);
    move(1 / 240.0);
    // In steps of just the interval, wherever rounding takes them.
    for (int index = 1; index <= 1000; ++index) expectKept(index / 120.0);
    click(1000 / 120.0 + 0.001, {}, MouseButton::right, ClickPhase::down);
    click(1000 / 120.0 + 0.002, {}, MouseButton::right, ClickPhase::up);
    scroll(1000 / 120.0 + 0.003, {}, 1, 0);
    scroll(1000 / 120.0 + 0.004, {}, 1, 0);
    move(1000 / 120.0 + 0.005);
    expectKept(1000 / 120.0 + 0.0084);  // from the last move kept; clicks and scrolls have no part in it
    std::vector<double> times;
    for (const CursorSample& sample : movesOf(*tap)) times.push_back(sample.t);
    EXPECT_EQ(times, kept);
    EXPECT_EQ(tap->stop().clicks.size(), 2U);
    EXPECT_EQ(tap->stop().scroll.size(), 2U);
}

TEST_F(Tap, keysKeepTheirModifiersInOneOrderAndRepeatsTheirMark) {
    const auto tap = started(120);
    key(0, 0, "a", {.command = true, .shift = true});
    key(1, 0, "ä", {true, true, true, true, true});
    key(2, 124, "", {});
    key(2.5, 124, "", {}, true);
    // The shortcut to ignore, and what differs from it.
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

TEST_F(Tap, whatWasBeforeTheRecordingIsDropped) {
    const auto tap = started(120);
    move(-0.001);
    click(-1, {}, MouseButton::left, ClickPhase::down);
    key(-0.5, 0, "a", {});
    move(0);  // kept, although a move was just before
    EXPECT_EQ(movesOf(*tap), (std::vector<CursorSample>{{0, 0, 0}}));
    EXPECT_TRUE(tap->stop().clicks.empty() && tap->stop().keys.empty());
}

TEST_F(Tap, stopTakesWhatIsUnderwayAndAnswersTheSameAgain) {
    const auto tap = started(120);
    move(1);
    const auto events = tap->stop();
    EXPECT_EQ(events.cursor, (std::vector<CursorSample>{{1, 0, 0}, {1000, 0, 0}}));
    EXPECT_EQ(tap->stop(), events);
}

TEST_F(Tap, withoutInputARecordingHasNoEvents) {
    EventTap deaf(display, startTime, 120, stream(false), nullptr);
    EXPECT_FALSE(deaf.start());
    EXPECT_EQ(deaf.stop(), EventTap::Events{});
    EventTap none(display, startTime, 120, nullptr, nullptr);
    EXPECT_FALSE(none.start());
    EXPECT_EQ(none.stop(), EventTap::Events{});
    EventTap neverStarted(display, startTime, 120, stream(), nullptr);
    EXPECT_EQ(neverStarted.stop(), EventTap::Events{});
}

// Of devices whose stamps disagree by some milliseconds.
TEST_F(Tap, arraysAreOrderedAndTheJournalHoldsTheSame) {
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
    const auto isOrdered = [](const auto& array) {
        return std::is_sorted(array.begin(), array.end(), [](const auto& a, const auto& b) { return a.t < b.t; });
    };
    EXPECT_TRUE(isOrdered(events.cursor) && isOrdered(events.clicks) && isOrdered(events.scroll) &&
                isOrdered(events.keys));
    EXPECT_GT(events.keys.size(), 900U);
    EXPECT_EQ(EventJournal::read(package.path()),
              (EventLog{1, info, events.cursor, events.clicks, events.scroll, events.keys}));
}

}  // namespace
}  // namespace lumenwhirl
