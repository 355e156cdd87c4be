#include "Recorder/Backends/X11/KeyTable.h"
#include "Recorder/Backends/X11/X11Streams.h"
#include "Recorder/Platform/HostClock.h"
#include "Tests/Recorder/X11/TestClient.h"
#include "Tests/Recorder/X11/VirtualDisplay.h"

#include <gtest/gtest.h>
#include <linux/input-event-codes.h>
#include <xcb/xinput.h>
#include <xcb/xtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace lumenwhirl::test {
namespace {

using Kind = InputEvent::Kind;

/// The X key code of a key by its place.
constexpr int keyAt(int kernelCode) {
    return kernelCode + 8;
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
    /// Whether so many have come within 20 s.
    [[nodiscard]] bool waitFor(std::size_t count) const {
        std::unique_lock lock(mutex_);
        return grew_.wait_for(lock, std::chrono::seconds(20), [&] { return events_.size() >= count; });
    }

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable grew_;
    std::vector<InputEvent> events_;
    std::unique_ptr<InputStream> stream_;  // last: it ends before what its handler uses
};

constexpr int shift = keyAt(KEY_LEFTSHIFT), control = keyAt(KEY_LEFTCTRL), alt = keyAt(KEY_LEFTALT),
              altGr = keyAt(KEY_RIGHTALT), super = keyAt(KEY_LEFTMETA), capsLock = keyAt(KEY_CAPSLOCK),
              numLock = keyAt(KEY_NUMLOCK);

struct Key {
    std::int64_t code;
    std::string characters;
    Modifiers modifiers{};
    bool isRepeat = false;
    bool operator==(const Key&) const = default;
};

void PrintTo(const Key& key, std::ostream* out) {
    *out << key.code << " \"" << key.characters << '"' << (key.modifiers.command ? " command" : "")
         << (key.modifiers.shift ? " shift" : "") << (key.modifiers.option ? " option" : "")
         << (key.modifiers.control ? " control" : "") << (key.isRepeat ? " again" : "");
}

std::vector<Key> keysIn(const std::vector<InputEvent>& events) {
    std::vector<Key> keys;
    for (const InputEvent& event : events) {
        EXPECT_EQ(event.kind, Kind::keyDown);
        keys.push_back({event.keyCode, event.characters, event.modifiers, event.isRepeat});
    }
    return keys;
}

class X11Input : public testing::Test {
protected:
    /// All events of the stream while the user does that.
    std::vector<InputEvent> eventsOf(const std::function<void()>& doing) {
        Listener listener(display_);
        doing();
        return listener.stop();
    }
    void click(int button) {
        client_.setButton(button, true);
        client_.setButton(button, false);
    }
    void press(const std::vector<int>& keyCodes) { client_.type(keyCodes); }
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

TEST_F(X11Input, reportsMotionWhoeverMakesIt) {
    const SystemClock clock;
    double last = clock.now();
    Listener listener(display_);
    client_.movePointer(100, 200);
    ASSERT_TRUE(listener.waitFor(1));
    xcb_warp_pointer(client_.connection(), XCB_NONE, client_.root(), 0, 0, 0, 0, 300, 400);
    client_.finish();
    ASSERT_TRUE(listener.waitFor(2));
    client_.movePointer(1279, 0);
    const auto events = listener.stop();
    ASSERT_EQ(events.size(), 3U);
    EXPECT_EQ(events[0].position, (Point{100, 200}));
    EXPECT_EQ(events[1].position, (Point{300, 400}));
    EXPECT_EQ(events[2].position, (Point{1279, 0}));
    for (const InputEvent& event : events) {
        EXPECT_EQ(event.kind, Kind::moved);
        EXPECT_GT(event.time, last);
        last = event.time;
    }
    EXPECT_LT(last, clock.now());
}

TEST_F(X11Input, reportsClicksWhereThePointerIsInTheOrderOfTime) {
    client_.setResources("Xft.dpi:\t192\n");  // two pixels a point
    Listener listener(display_);
    for (int index = 1; index <= 50; ++index) {
        client_.movePointer(index, 7);
        click(1);
        client_.waitUntil("the click is reported",
                          [&] { return std::ssize(listener.events(Kind::buttonChanged)) == 2 * index; });
        EXPECT_EQ(listener.events(Kind::buttonChanged).back().position, (Point{index / 2.0, 3.5}));
    }
    double last = 0;
    for (const InputEvent& event : listener.stop()) {
        EXPECT_GT(event.time, last - 0.001);  // stamps are whole milliseconds
        last = event.time;
    }
}

TEST_F(X11Input, reportsButtonsAsClicksAndTheWheelsNotchesAsLines) {
    client_.movePointer(100, 200);
    const auto events = eventsOf([&] {
        for (int button = 1; button <= 9; ++button) click(button);
    });
    const std::array<MouseButton, 5> buttons{MouseButton::left, MouseButton::other, MouseButton::right,
                                             MouseButton::other, MouseButton::other};          // 1, 2, 3, 8, 9
    const std::array<Point, 4> notches{Point{0, 1}, Point{0, -1}, Point{1, 0}, Point{-1, 0}};  // 4 to 7
    ASSERT_EQ(events.size(), 2 * buttons.size() + notches.size());
    std::size_t clicks = 0, scrolls = 0;
    for (const InputEvent& event : events) {
        EXPECT_EQ(event.position, (Point{100, 200}));
        if (event.kind == Kind::scrolled) {
            EXPECT_EQ((Point{event.dx, event.dy}), notches[scrolls++]);
        } else {
            EXPECT_EQ(event.kind, Kind::buttonChanged);
            EXPECT_EQ(event.button, buttons[clicks / 2]);
            EXPECT_EQ(event.phase, clicks % 2 == 0 ? ClickPhase::down : ClickPhase::up);
            ++clicks;
        }
    }
}

// Some desktops set the pointer's map, others that of the mouse; the mouse's is applied first.
TEST_F(X11Input, followsTheMapsOfALeftHandedMouseWithANaturalWheel) {
    const auto changed = eventsOf([&] {
        click(1);
        setPointerMap({3, 2, 1, 5, 4});
        click(1);
        click(4);
    });
    ASSERT_EQ(changed.size(), 5U);
    EXPECT_EQ(changed[0].button, MouseButton::left);
    EXPECT_EQ(changed[2].button, MouseButton::right);
    EXPECT_EQ(changed[4].dy, -1);

    setPointerMap({1, 2, 3, 4, 5});
    constexpr std::uint8_t mouse = 4;  // the one that XTEST moves
    Listener listener(display_);
    click(1);
    ASSERT_TRUE(listener.waitFor(2));
    const std::array<std::uint8_t, 10> ofTheMouse{3, 2, 1, 5, 4, 6, 7, 8, 9, 0};
    const auto reply = client_.reply(
        &xcb_input_set_device_button_mapping_reply,
        xcb_input_set_device_button_mapping(client_.connection(), mouse,
                                            static_cast<std::uint8_t>(ofTheMouse.size()), ofTheMouse.data()));
    ASSERT_EQ(reply->status, XCB_MAPPING_STATUS_SUCCESS);
    click(1);
    click(4);
    click(10);  // switched off
    ASSERT_TRUE(listener.waitFor(5));
    setPointerMap({1, 3, 2});
    click(1);
    const auto events = listener.stop();
    ASSERT_EQ(events.size(), 7U);
    EXPECT_EQ(events[0].button, MouseButton::left);
    EXPECT_EQ(events[2].button, MouseButton::right);
    EXPECT_EQ(events[4].dy, -1);
    EXPECT_EQ(events[5].button, MouseButton::other);  // 1 becomes 3, and that 2
}

TEST_F(X11Input, reportsKeysAsPillsShowThem) {
    setLayout("us");
    const auto keys = keysIn(eventsOf([&] {
        press({keyAt(KEY_A)});
        press({shift, keyAt(KEY_A)});
        press({control, keyAt(KEY_S)});
        press({control, shift, super, keyAt(KEY_2)});
        press({alt, keyAt(KEY_F4)});
        press({keyAt(KEY_SPACE)});
        press({keyAt(KEY_ENTER)});
        press({keyAt(KEY_ESC)});
        press({shift, keyAt(KEY_TAB)});
        press({keyAt(KEY_LEFT)});
        press({keyAt(KEY_KP7)});
        press({numLock});
        press({keyAt(KEY_KP7)});
        press({numLock});
        press({capsLock});
        press({control, keyAt(KEY_B)});
        press({capsLock});
    }));
    const std::vector<Key> expected{{0, "a"},
                                    {0, "A", {.shift = true}},
                                    {1, "s", {.control = true}},
                                    {19, "@", {.command = true, .shift = true, .control = true}},
                                    {118, "F4", {.option = true}},
                                    {49, " "},
                                    {36, ""},
                                    {53, ""},
                                    {48, "", {.shift = true}},
                                    {123, ""},
                                    {115, ""},  // Home
                                    {89, "7"},
                                    {11, "B", {.control = true}}};
    EXPECT_EQ(keys, expected);
}

TEST_F(X11Input, readsKeysByTheLayoutAlsoWhenItChanges) {
    setLayout("us");
    const auto keys = keysIn(eventsOf([&] {
        press({keyAt(KEY_Y)});
        setLayout("de");
        press({keyAt(KEY_Y)});
        press({altGr, keyAt(KEY_Q)});  // AltGr is not shown as a modifier
        press({super, keyAt(KEY_LEFTBRACE)});
        press({keyAt(KEY_EQUAL)});  // a dead key: types nothing yet
        press({keyAt(KEY_102ND)});
        setLayout("fr");
        press({keyAt(KEY_Q)});
        press({keyAt(KEY_2)});
        press({shift, keyAt(KEY_2)});
        setLayout("us -option caps:escape");
        press({capsLock});
        // Two at once, switched by the keyboard itself.
        setLayout("us,ru -option grp:alt_shift_toggle");
        press({alt, shift});
        press({keyAt(KEY_V)});
        setLayout("us -option");
    }));
    const std::vector<Key> expected{{16, "y"}, {16, "z"}, {12, "@"}, {33, "ü", {.command = true}}, {24, ""},
                                    {10, "<"}, {12, "a"}, {19, "é"}, {19, "2", {.shift = true}},   {53, ""},
                                    {9, "м"}};
    EXPECT_EQ(keys, expected);
}

TEST_F(X11Input, repeatsAHeldKeyUntilItIsReleased) {
    Listener listener(display_);
    {
        // A window with the focus sees what the server itself repeats.
        const TestClient other(display_.name());
        const std::uint32_t window = other.connection().newID();
        const std::uint32_t wanted = XCB_EVENT_MASK_KEY_PRESS;
        xcb_create_window(other.connection(), XCB_COPY_FROM_PARENT, window, other.root(), 0, 0, 10, 10, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &wanted);
        xcb_map_window(other.connection(), window);
        xcb_set_input_focus(other.connection(), XCB_INPUT_FOCUS_NONE, window, XCB_CURRENT_TIME);
        other.finish();
        client_.setKey(shift, true);
        client_.setKey(keyAt(KEY_K), true);
        for (int presses = 0; presses < 5;) {
            const XcbEvent event(xcb_wait_for_event(other.connection()));
            ASSERT_TRUE(event);
            presses += event->response_type == XCB_KEY_PRESS;
        }
        client_.setKey(keyAt(KEY_K), false);
        client_.setKey(shift, false);
    }
    // So many looks take longer than the pause between two repeats.
    const std::size_t repeated = listener.events().size();
    for (int index = 1; index <= 20; ++index) {
        client_.movePointer(index, index);
        ASSERT_TRUE(listener.waitFor(repeated + static_cast<std::size_t>(index)));
    }
    press({keyAt(KEY_K)});
    (void)listener.stop();
    const auto keys = keysIn(listener.events(Kind::keyDown));
    ASSERT_GE(keys.size(), 5U);
    EXPECT_EQ(keys.front(), (Key{40, "K", {.shift = true}}));
    for (std::size_t index = 1; index + 1 < keys.size(); ++index)
        EXPECT_EQ(keys[index], (Key{40, "K", {.shift = true}, true}));
    EXPECT_EQ(keys.back(), (Key{40, "k"}));
}

TEST_F(X11Input, takesAKeyThatIsPressedDuringTheStartForNoRepeat) {
    const std::uint32_t off = XCB_AUTO_REPEAT_MODE_OFF;  // however long a busy machine holds it down
    xcb_change_keyboard_control(client_.connection(), XCB_KB_AUTO_REPEAT_MODE, &off);
    client_.finish();
    const TestClient other(display_.name());  // here, as only one thread may connect at a time
    std::atomic<bool> isOver = false;
    std::thread typist([&] {
        while (!isOver) other.type({keyAt(KEY_K)});
    });
    int repeats = 0;
    for (int round = 0; round < 20; ++round) {
        Listener listener(display_);
        EXPECT_TRUE(listener.waitFor(1));
        for (const InputEvent& event : listener.stop()) repeats += event.isRepeat;
    }
    isOver = true;
    typist.join();
    EXPECT_EQ(repeats, 0);
}

TEST_F(X11Input, missesNothingWhileAProgramGrabsPointerAndKeyboard) {
    const TestClient greedy(display_.name());
    const auto pointer = greedy.reply(
        &xcb_grab_pointer_reply, xcb_grab_pointer(greedy.connection(), 0, greedy.root(), 0, XCB_GRAB_MODE_ASYNC,
                                                  XCB_GRAB_MODE_ASYNC, XCB_NONE, XCB_NONE, XCB_CURRENT_TIME));
    const auto keyboard = greedy.reply(&xcb_grab_keyboard_reply,
                                       xcb_grab_keyboard(greedy.connection(), 0, greedy.root(), XCB_CURRENT_TIME,
                                                         XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    ASSERT_EQ(pointer->status, XCB_GRAB_STATUS_SUCCESS);
    ASSERT_EQ(keyboard->status, XCB_GRAB_STATUS_SUCCESS);
    Listener listener(display_);
    client_.movePointer(7, 8);
    click(1);
    press({keyAt(KEY_A)});
    ASSERT_EQ(listener.stop().size(), 4U);
    EXPECT_EQ(listener.events(Kind::moved).at(0).position, (Point{7, 8}));
    ASSERT_EQ(listener.events(Kind::buttonChanged).size(), 2U);
    EXPECT_EQ(listener.events(Kind::buttonChanged)[0].position, (Point{7, 8}));
    EXPECT_EQ(listener.events(Kind::keyDown).at(0).characters, "a");
}

TEST_F(X11Input, deliversAllThatHappenedBeforeTheStop) {
    constexpr int count = 3000;
    const auto fake = [this](std::uint8_t type, std::uint8_t detail, int x, int y) {
        xcb_test_fake_input(client_.connection(), type, detail, XCB_CURRENT_TIME, client_.root(),
                            static_cast<std::int16_t>(x), static_cast<std::int16_t>(y), 0);
    };
    for (int round = 1; round <= 10; ++round) {
        const auto events = eventsOf([&] {
            for (int index = 0; index < count; ++index) {
                fake(XCB_MOTION_NOTIFY, 0, index % 1280, index / 1280);
                fake(index % 2 == 0 ? XCB_BUTTON_PRESS : XCB_BUTTON_RELEASE, 1, 0, 0);
            }
            fake(XCB_MOTION_NOTIFY, 0, round, 700);
            client_.finish();
        });
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

TEST_F(X11Input, deliversEventsAtOnceAndStopsWhenTheServerIsGone) {
    Listener listener(display_);
    for (int index = 1; index <= 20; ++index) {
        click(1);
        ASSERT_TRUE(listener.waitFor(static_cast<std::size_t>(2 * index)));
    }
    display_.end();
    (void)listener.stop();
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

TEST(KeyTable, givesEveryKeyANumberOfItsOwn) {
    int known = 0;
    for (std::int64_t code = 0; code < 128; ++code) {
        const auto key = KeyTable::xKeyCode(code);
        if (!key) continue;
        ++known;
        EXPECT_EQ(KeyTable::virtualKeyCode(*key), code);
    }
    EXPECT_GE(known, 118);  // a full keyboard with the Japanese keys
    std::set<std::int64_t> unknown;
    for (int key = 0; key < 256; ++key) {
        const std::int64_t code = KeyTable::virtualKeyCode(static_cast<std::uint8_t>(key));
        EXPECT_TRUE(code < 128 || unknown.insert(code).second) << key;
    }
    EXPECT_EQ(KeyTable::xKeyCode(19), keyAt(KEY_2));
    EXPECT_EQ(KeyTable::xKeyCode(63), std::nullopt);  // fn never reaches a server
}

}  // namespace
}  // namespace lumenwhirl::test
