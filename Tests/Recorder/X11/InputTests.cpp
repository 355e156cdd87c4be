#include "Recorder/Backends/X11/X11Streams.h"
#include "Recorder/Platform/HostClock.h"
#include "Tests/Recorder/X11/TestClient.h"
#include "Tests/Recorder/X11/VirtualDisplay.h"

#include <gtest/gtest.h>
#include <linux/input-event-codes.h>
#include <xcb/xinput.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace lumenwhirl::test {
namespace {

using Kind = InputEvent::Kind;

/// Moves also come with clicks, and where the pointer rests.
std::vector<InputEvent> withoutMoves(std::vector<InputEvent> events) {
    std::erase_if(events, [](const InputEvent& event) { return event.kind == Kind::moved; });
    return events;
}

/// A running input stream and what it has delivered.
class Listener {
public:
    explicit Listener(const VirtualDisplay& display) : stream_(makeX11InputStream(display.name())) {
        stream_->start([this](const InputEvent& event) {
            const std::scoped_lock lock(mutex_);
            events_.push_back(event);
            grew_.notify_all();
        });
    }
    /// Ends it, twice, as stopping again must do nothing. All events.
    std::vector<InputEvent> stop() {
        stream_->stop();
        stream_->stop();
        return events();
    }
    [[nodiscard]] std::vector<InputEvent> events() const {
        const std::scoped_lock lock(mutex_);
        return events_;
    }
    [[nodiscard]] std::vector<InputEvent> events(Kind kind) const {
        std::vector<InputEvent> found = events();
        std::erase_if(found, [kind](const InputEvent& event) { return event.kind != kind; });
        return found;
    }
    /// Whether so many other than moves have come within 20 s.
    [[nodiscard]] bool waitFor(std::ptrdiff_t count) const {
        return waitUntil([&] { return std::ssize(withoutMoves(events_)) >= count; });
    }
    /// Whether so many moves to that place have come within 20 s.
    [[nodiscard]] bool waitForMove(Point place, std::ptrdiff_t count = 1) const {
        return waitUntil([&] {
            return std::ranges::count_if(events_, [&](const InputEvent& event) {
                       return event.kind == Kind::moved && event.position == place;
                   }) >= count;
        });
    }

private:
    [[nodiscard]] bool waitUntil(const std::function<bool()>& isSo) const {
        std::unique_lock lock(mutex_);
        return grew_.wait_for(lock, std::chrono::seconds(20), isSo);
    }
    mutable std::mutex mutex_;
    mutable std::condition_variable grew_;
    std::vector<InputEvent> events_;
    std::unique_ptr<InputStream> stream_;  // last: it ends before what its handler uses
};

constexpr int shift = KEY_LEFTSHIFT, control = KEY_LEFTCTRL, alt = KEY_LEFTALT, altGr = KEY_RIGHTALT,
              super = KEY_LEFTMETA;

/// Such as "0 'A' shift": its code, what it types, and its modifiers.
std::vector<std::string> keysIn(const std::vector<InputEvent>& events) {
    std::vector<std::string> keys;
    for (const InputEvent& event : events) {
        EXPECT_EQ(event.kind, Kind::keyDown);
        const Modifiers& held = event.modifiers;
        keys.push_back(std::to_string(event.keyCode) + " '" + event.characters + "'" +
                       (held.command ? " command" : "") + (held.shift ? " shift" : "") +
                       (held.option ? " option" : "") + (held.control ? " control" : "") +
                       (event.isRepeat ? " again" : ""));
    }
    return keys;
}

std::vector<MouseButton> pressedIn(const std::vector<InputEvent>& events) {
    std::vector<MouseButton> buttons;
    for (const InputEvent& event : events)
        if (event.kind == Kind::buttonChanged && event.phase == ClickPhase::down) buttons.push_back(event.button);
    return buttons;
}

std::vector<Point> notchesIn(const std::vector<InputEvent>& events) {
    std::vector<Point> notches;
    for (const InputEvent& event : events)
        if (event.kind == Kind::scrolled) notches.push_back({event.dx, event.dy});
    return notches;
}

class X11Input : public testing::Test {
protected:
    /// All events of the stream, without moves, while the user does that.
    std::vector<InputEvent> eventsOf(const std::function<void()>& doing) {
        Listener listener(display_);
        doing();
        return withoutMoves(listener.stop());
    }
    void click(int button) {
        client_.setButton(button, true);
        client_.setButton(button, false);
    }
    // Keys by the kernel's codes; those of X are greater by 8.
    void setKey(int key, bool isDown) { client_.setKey(key + 8, isDown); }
    void press(std::vector<int> keys) {
        for (int& key : keys) key += 8;
        client_.type(keys);
    }
    void setLayout(const std::string& options) {
        ASSERT_EQ(std::system(("setxkbmap -display " + display_.name() + " " + options).c_str()), 0);
    }
    /// The pointer's map has as many buttons as the server's; it refuses any other number.
    void setPointerMap(const std::vector<std::uint8_t>& first) {
        const auto former =
            client_.reply(&xcb_get_pointer_mapping_reply, xcb_get_pointer_mapping(client_.connection()));
        std::vector<std::uint8_t> map(first);
        while (map.size() < former->map_len) map.push_back(static_cast<std::uint8_t>(map.size() + 1));
        const auto cookie = xcb_set_pointer_mapping(client_.connection(), former->map_len, map.data());
        EXPECT_EQ(client_.reply(&xcb_set_pointer_mapping_reply, cookie)->status, XCB_MAPPING_STATUS_SUCCESS);
    }

    VirtualDisplay display_;
    TestClient client_{display_.name()};
};

TEST_F(X11Input, reportsMotionWhoeverMakesItAndWhereItRests) {
    const SystemClock clock;
    double last = clock.now();
    constexpr Point resting{300, 400};
    client_.movePointer(1, 2);
    Listener listener(display_);
    client_.movePointer(100, 200);
    ASSERT_TRUE(listener.waitForMove({100, 200}));
    xcb_warp_pointer(client_.connection(), XCB_NONE, client_.root(), 0, 0, 0, 0, 300, 400);
    client_.finish();
    ASSERT_TRUE(listener.waitForMove(resting, 2));
    // The first clicks may come too soon after the rest was reported.
    for (int clicks = 1; std::ranges::count(listener.events(Kind::moved), resting, &InputEvent::position) < 3;
         ++clicks) {
        click(1);
        ASSERT_TRUE(listener.waitFor(2 * clicks));
    }
    client_.movePointer(1279, 0);
    (void)listener.stop();
    std::vector<Point> places;
    std::vector<double> times;  // of those where it rests
    for (const InputEvent& event : listener.events(Kind::moved)) {
        if (places.empty() || places.back() != event.position) places.push_back(event.position);
        if (event.position == resting) times.push_back(event.time);
        EXPECT_GT(event.time, std::exchange(last, event.time));
    }
    EXPECT_EQ(places, (std::vector<Point>{{1, 2}, {100, 200}, resting, {1279, 0}}));
    ASSERT_GE(times.size(), 3U);
    EXPECT_NEAR(times[1], times[0] + 0.4, 1e-9);
    EXPECT_EQ(std::ranges::count(listener.events(Kind::buttonChanged), times[2], &InputEvent::time), 1);
    EXPECT_LT(last, clock.now());
}

TEST_F(X11Input, reportsClicksAtOnceWhereThePointerIsInTheOrderOfTime) {
    client_.setResources("Xft.dpi:\t192\n");  // two pixels a point
    Listener listener(display_);
    for (int index = 1; index <= 50; ++index) {
        client_.movePointer(index, 7);
        click(1);
        client_.waitUntil("the click is reported",
                          [&] { return std::ssize(listener.events(Kind::buttonChanged)) == 2 * index; });
        EXPECT_EQ(listener.events(Kind::buttonChanged).back().position, (Point{index / 2.0, 3.5}));
    }
    display_.end();  // without which it ends too
    double last = 0;
    for (const InputEvent& event : listener.stop())
        EXPECT_GT(event.time, std::exchange(last, event.time) - 0.001);  // stamps are whole milliseconds
}

TEST_F(X11Input, reportsButtonsAsClicksAndTheWheelsNotchesAsLines) {
    client_.movePointer(100, 200);
    const auto events = eventsOf([&] {
        for (int button = 1; button <= 9; ++button) click(button);
    });
    for (const InputEvent& event : events) EXPECT_EQ(event.position, (Point{100, 200}));
    using enum MouseButton;
    EXPECT_EQ(pressedIn(events), (std::vector{left, other, right, other, other}));         // 1, 2, 3, 8, 9
    EXPECT_EQ(notchesIn(events), (std::vector<Point>{{0, 1}, {0, -1}, {1, 0}, {-1, 0}}));  // 4 to 7
    EXPECT_EQ(events.size(), 14U);
}

// Some desktops set the pointer's map, others that of the mouse; the mouse's is applied first.
TEST_F(X11Input, followsTheMapsOfALeftHandedMouseWithANaturalWheel) {
    Listener listener(display_);
    click(1);
    setPointerMap({3, 2, 1, 5, 4});
    click(1);
    click(4);
    ASSERT_TRUE(listener.waitFor(5));
    setPointerMap({1, 2, 3, 4, 5});
    click(1);
    ASSERT_TRUE(listener.waitFor(7));
    const std::array<std::uint8_t, 10> ofTheMouse{3, 2, 1, 5, 4, 6, 7, 8, 9, 0};
    constexpr std::uint8_t mouse = 4;  // the one that XTEST moves
    const auto reply = client_.reply(
        &xcb_input_set_device_button_mapping_reply,
        xcb_input_set_device_button_mapping(client_.connection(), mouse,
                                            static_cast<std::uint8_t>(ofTheMouse.size()), ofTheMouse.data()));
    ASSERT_EQ(reply->status, XCB_MAPPING_STATUS_SUCCESS);
    click(1);
    click(4);
    click(10);  // switched off
    ASSERT_TRUE(listener.waitFor(10));
    setPointerMap({1, 3, 2});
    click(1);  // 1 becomes 3, and that 2
    const auto events = listener.stop();
    using enum MouseButton;
    EXPECT_EQ(pressedIn(events), (std::vector{left, right, left, right, other}));
    EXPECT_EQ(notchesIn(events), (std::vector<Point>{{0, -1}, {0, -1}}));
}

TEST_F(X11Input, reportsKeysAsPillsShowThemByTheLayout) {
    std::vector<std::string> expected;
    const auto type = [&](const std::vector<int>& keys, const std::string& reported = "") {
        press(keys);
        if (!reported.empty()) expected.push_back(reported);
    };
    setLayout("us");
    const auto events = eventsOf([&] {
        type({KEY_A}, "0 'a'");
        type({shift, KEY_A}, "0 'A' shift");
        type({control, KEY_S}, "1 's' control");
        type({control, shift, super, KEY_2}, "19 '@' command shift control");
        type({alt, KEY_F4}, "118 'F4' option");
        type({KEY_SPACE}, "49 ' '");
        type({KEY_ENTER}, "36 ''");
        type({KEY_ESC}, "53 ''");
        type({shift, KEY_TAB}, "48 '' shift");
        type({KEY_LEFT}, "123 ''");
        type({KEY_KP7}, "115 ''");  // Home
        type({KEY_NUMLOCK});
        type({KEY_KP7}, "89 '7'");
        type({KEY_NUMLOCK});
        type({KEY_CAPSLOCK});
        type({control, KEY_B}, "11 'B' control");
        type({KEY_CAPSLOCK});
        type({KEY_Y}, "16 'y'");
        setLayout("de");
        type({KEY_Y}, "16 'z'");
        type({altGr, KEY_Q}, "12 '@'");  // AltGr is not shown as a modifier
        type({super, KEY_LEFTBRACE}, "33 'ü' command");
        type({KEY_EQUAL}, "24 '´'");  // a dead key: types nothing yet
        type({KEY_102ND}, "10 '<'");
        setLayout("fr");
        type({KEY_Q}, "12 'a'");
        type({KEY_2}, "19 'é'");
        type({shift, KEY_2}, "19 '2' shift");
        setLayout("us -option caps:escape");
        type({KEY_CAPSLOCK}, "53 ''");
        setLayout("us,ru -option grp:alt_shift_toggle");
        type({alt, shift});  // two at once, switched by the keyboard itself
        type({KEY_V}, "9 'м'");
        type({control, KEY_V}, "9 'v' control");  // as programs take it
        setLayout("ru,de");
        type({control, shift, KEY_Y}, "16 'Z' shift control");
        setLayout("il");
        type({control, KEY_Q}, "12 'q' control");  // alone it types a slash
        type({control, KEY_COMMA}, "43 'ת' control");
        type({control, KEY_INSERT}, "114 'Insert' control");
        type({KEY_VOLUMEUP}, "72 'Volume Up'");
        type({KEY_KP5}, "87 'Begin'");
    });
    EXPECT_EQ(keysIn(events), expected);
}

TEST_F(X11Input, repeatsAHeldKeyUntilItIsReleased) {
    Listener listener(display_);
    setKey(shift, true);
    setKey(KEY_K, true);
    ASSERT_TRUE(listener.waitFor(5));
    setKey(KEY_K, false);
    setKey(shift, false);
    // So many looks take longer than the pause between two repeats.
    for (int index = 1; index <= 20; ++index) {
        client_.movePointer(index, index);
        ASSERT_TRUE(listener.waitForMove({1.0 * index, 1.0 * index}));
    }
    press({KEY_K});
    (void)listener.stop();
    const auto keys = keysIn(listener.events(Kind::keyDown));
    ASSERT_GE(keys.size(), 6U);
    EXPECT_EQ(keys.front(), "40 'K' shift");
    for (std::size_t index = 1; index + 1 < keys.size(); ++index) EXPECT_EQ(keys[index], "40 'K' shift again");
    EXPECT_EQ(keys.back(), "40 'k'");
}

TEST_F(X11Input, missesNothingWhileAProgramGrabsPointerAndKeyboard) {
    const TestClient greedy(display_.name());
    const auto pointer = greedy.reply(
        &xcb_grab_pointer_reply, xcb_grab_pointer(greedy.connection(), 0, greedy.root(), 0, XCB_GRAB_MODE_ASYNC,
                                                  XCB_GRAB_MODE_ASYNC, XCB_NONE, XCB_NONE, XCB_CURRENT_TIME));
    const auto keyboard = greedy.reply(&xcb_grab_keyboard_reply,
                                       xcb_grab_keyboard(greedy.connection(), 0, greedy.root(), XCB_CURRENT_TIME,
                                                         XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    ASSERT_TRUE(pointer->status == XCB_GRAB_STATUS_SUCCESS && keyboard->status == XCB_GRAB_STATUS_SUCCESS);
    Listener listener(display_);
    client_.movePointer(7, 8);
    click(1);
    press({KEY_A});
    ASSERT_EQ(withoutMoves(listener.stop()).size(), 3U);
    EXPECT_EQ(listener.events(Kind::moved).back().position, (Point{7, 8}));
    for (const std::size_t i : {0U, 1U})
        EXPECT_EQ(listener.events(Kind::buttonChanged).at(i).position, (Point{7, 8}));
    EXPECT_EQ(listener.events(Kind::keyDown).at(0).characters, "a");
}

TEST_F(X11Input, deliversAllThatHappenedBeforeTheStop) {
    constexpr int count = 3000;
    const auto fake = [this](std::uint8_t type, std::uint8_t detail, int x, int y) {
        xcb_test_fake_input(client_.connection(), type, detail, XCB_CURRENT_TIME, client_.root(),
                            static_cast<std::int16_t>(x), static_cast<std::int16_t>(y), 0);
    };
    for (int round = 1; round <= 10; ++round) {
        Listener listener(display_);
        for (int index = 0; index < count; ++index) {
            fake(XCB_MOTION_NOTIFY, 0, index % 1280, index / 1280);
            fake(index % 2 == 0 ? XCB_BUTTON_PRESS : XCB_BUTTON_RELEASE, 1, 0, 0);
        }
        fake(XCB_MOTION_NOTIFY, 0, round, 700);
        client_.finish();
        const auto events = listener.stop();
        int clicks = 0;
        for (const InputEvent& event : events) {
            if (event.kind != Kind::buttonChanged) continue;
            ASSERT_EQ(event.phase, clicks % 2 == 0 ? ClickPhase::down : ClickPhase::up);
            ++clicks;
        }
        EXPECT_EQ(clicks, count);
        EXPECT_EQ(events.back().position, (Point{1.0 * round, 700}));
    }
}

TEST(Replies, haveNoMoreThanTheServerHasSent) {
    struct {
        xcb_get_property_reply_t head{};
        std::array<std::uint32_t, 3> values{7, 8, 9};
    } reply;
    reply.head.length = 2;
    EXPECT_EQ(listIn(reply.head, reply.values.data(), 1'000'000).size(), 2U);
    EXPECT_EQ(listIn(reply.head, reply.values.data(), 1).size(), 1U);
    EXPECT_EQ(textIn(reply.head, reply.values.data(), 1'000'000).size(), 8U);
    EXPECT_TRUE(listIn(reply.head, reply.values.data() + 3, 1).empty());
}

TEST(ServerTime, isTheHostsUnlessTheServerHasAnotherClock) {
    EXPECT_NEAR(hostTimeOf(100'000'123, 100'000.5), 100'000.123, 1e-9);
    constexpr double round = 4'294'967.296;  // s, after which stamps wrap
    EXPECT_NEAR(hostTimeOf(0xffff'ff00, round + 0.1), round - 0.256, 1e-6);
    EXPECT_NEAR(hostTimeOf(50, 3 * round + 0.1), 3 * round + 0.05, 1e-6);
    EXPECT_NEAR(hostTimeOf(70'000'000, 70'050), 70'000, 1e-9);  // was held up
    for (const std::uint32_t stamp : {0U, 100'000'600U, 200'000'000U, 3'000'000'000U})
        EXPECT_EQ(hostTimeOf(stamp, 100'000.5), 100'000.5) << stamp;
}

}  // namespace
}  // namespace lumenwhirl::test
