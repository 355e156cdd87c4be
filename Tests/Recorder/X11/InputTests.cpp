#include "Recorder/Backends/X11/KeyTable.h"
#include "Recorder/Backends/X11/ServerTime.h"
#include "Recorder/Backends/X11/X11InputStream.h"
#include "Recorder/Platform/HostClock.h"
#include "Tests/Recorder/X11/TestClient.h"
#include "Tests/Recorder/X11/VirtualDisplay.h"

#include <gtest/gtest.h>
#include <linux/input-event-codes.h>
#include <xcb/xcb.h>
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

namespace lumenwhirl {
namespace {

using test::TestClient;
using test::VirtualDisplay;
using Kind = InputEvent::Kind;

struct Freed {
    void operator()(void* memory) const noexcept { std::free(memory); }
};
template <class T>
using Owned = std::unique_ptr<T, Freed>;

/// X key codes of keys by their place.
constexpr int keyAt(int kernelCode) {
    return kernelCode + 8;
}

/// What a stream has delivered.
class Heard {
public:
    void add(const InputEvent& event) {
        const std::scoped_lock lock(mutex_);
        events_.push_back(event);
        grew_.notify_all();
    }
    [[nodiscard]] std::vector<InputEvent> events() const {
        const std::scoped_lock lock(mutex_);
        return events_;
    }
    /// Whether so many have come, at last.
    [[nodiscard]] bool waitFor(std::size_t count) const {
        std::unique_lock lock(mutex_);
        return grew_.wait_for(lock, std::chrono::seconds(20), [&] { return events_.size() >= count; });
    }

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable grew_;
    std::vector<InputEvent> events_;
};

class X11Input : public testing::Test {
protected:
    /// What is heard of the user's doing: from the start of a stream until its stop right after.
    std::vector<InputEvent> eventsOf(const std::function<void()>& doing) {
        Heard heard;
        const auto stream = makeX11InputStream(display_.name());
        stream->start([&heard](const InputEvent& event) { heard.add(event); });
        doing();
        stream->stop();
        stream->stop();
        return heard.events();
    }
    void click(int button) {
        client_.setButton(button, true);
        client_.setButton(button, false);
    }
    /// Presses and releases the last of these keys while the others are held.
    void press(const std::vector<int>& keyCodes) {
        for (const int keyCode : keyCodes) client_.setKey(keyCode, true);
        for (auto keyCode = keyCodes.rbegin(); keyCode != keyCodes.rend(); ++keyCode)
            client_.setKey(*keyCode, false);
    }
    void setLayout(const std::string& options) {
        ASSERT_EQ(std::system(("setxkbmap -display " + display_.name() + " " + options).c_str()), 0);
    }

    VirtualDisplay display_;
    TestClient client_{display_.name()};
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

TEST_F(X11Input, movesAreHeardWhoeverMakesThem) {
    const SystemClock clock;
    double last = clock.now();
    Heard heard;
    const auto stream = makeX11InputStream(display_.name());
    stream->start([&heard](const InputEvent& event) { heard.add(event); });
    client_.movePointer(100, 200);
    ASSERT_TRUE(heard.waitFor(1));
    xcb_warp_pointer(client_.connection(), XCB_NONE, client_.root(), 0, 0, 0, 0, 300, 400);
    client_.finish();
    ASSERT_TRUE(heard.waitFor(2));
    client_.movePointer(1279, 0);
    stream->stop();
    const auto events = heard.events();
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

TEST_F(X11Input, clicksAreWhereThePointerIsAndComeInTheOrderOfTime) {
    Heard heard;
    const auto stream = makeX11InputStream(display_.name());
    stream->start([&heard](const InputEvent& event) { heard.add(event); });
    const auto clicks = [&] {
        std::vector<InputEvent> found;
        for (const InputEvent& event : heard.events())
            if (event.kind == Kind::buttonChanged) found.push_back(event);
        return found;
    };
    for (std::size_t index = 1; index <= 50; ++index) {
        client_.movePointer(static_cast<int>(index), 7);
        click(1);
        client_.waitUntil("the click is heard", [&] { return clicks().size() == 2 * index; });
        EXPECT_EQ(clicks().back().position, (Point{1.0 * static_cast<double>(index), 7}));
    }
    stream->stop();
    double last = 0;
    for (const InputEvent& event : heard.events()) {
        EXPECT_GT(event.time, last - 0.001);  // stamps are whole milliseconds
        last = event.time;
    }
}

TEST_F(X11Input, positionsAreInPointsOfTheDesktopsScale) {
    client_.setResources("Xft.dpi:\t192\n");
    const auto events = eventsOf([&] {
        client_.movePointer(100, 201);
        click(1);
    });
    ASSERT_EQ(events.size(), 3U);
    for (const InputEvent& event : events) EXPECT_EQ(event.position, (Point{50, 100.5}));
}

TEST_F(X11Input, buttonsAreClicksAndTheWheelsNotchesLines) {
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

TEST_F(X11Input, aLeftHandedMouseWithANaturalWheelMeansWhatItsUserMeans) {
    std::array<std::uint8_t, 32> map{3, 2, 1, 5, 4};
    for (std::size_t index = 5; index < map.size(); ++index) map[index] = static_cast<std::uint8_t>(index + 1);
    // As many as the server has; it refuses any other number.
    const Owned<xcb_get_pointer_mapping_reply_t> former(xcb_get_pointer_mapping_reply(
        client_.connection(), xcb_get_pointer_mapping(client_.connection()), nullptr));
    const auto events = eventsOf([&] {
        click(1);
        const Owned<xcb_set_pointer_mapping_reply_t> reply(xcb_set_pointer_mapping_reply(
            client_.connection(), xcb_set_pointer_mapping(client_.connection(), former->map_len, map.data()),
            nullptr));
        ASSERT_TRUE(reply);
        ASSERT_EQ(reply->status, XCB_MAPPING_STATUS_SUCCESS);
        click(1);
        click(4);
    });
    ASSERT_EQ(events.size(), 5U);
    EXPECT_EQ(events[0].button, MouseButton::left);
    EXPECT_EQ(events[2].button, MouseButton::right);
    EXPECT_EQ(events[4].dy, -1);
}

/// As the settings of some desktops do it. The pointer's own map comes after that of the mouse.
TEST_F(X11Input, aMouseWithAMapOfItsOwnMeansWhatItsUserMeans) {
    constexpr std::uint8_t mouse = 4;  // the one that XTEST moves
    Heard heard;
    const auto stream = makeX11InputStream(display_.name());
    stream->start([&heard](const InputEvent& event) { heard.add(event); });
    click(1);
    ASSERT_TRUE(heard.waitFor(2));
    const std::array<std::uint8_t, 10> ofTheMouse{3, 2, 1, 5, 4, 6, 7, 8, 9, 0};
    const Owned<xcb_input_set_device_button_mapping_reply_t> reply(xcb_input_set_device_button_mapping_reply(
        client_.connection(),
        xcb_input_set_device_button_mapping(client_.connection(), mouse,
                                            static_cast<std::uint8_t>(ofTheMouse.size()), ofTheMouse.data()),
        nullptr));
    ASSERT_TRUE(reply);
    ASSERT_EQ(reply->status, XCB_MAPPING_STATUS_SUCCESS);
    click(1);
    click(4);
    click(10);  // switched off
    ASSERT_TRUE(heard.waitFor(5));
    const std::array<std::uint8_t, 10> ofThePointer{1, 3, 2, 4, 5, 6, 7, 8, 9, 10};
    const Owned<xcb_set_pointer_mapping_reply_t> both(xcb_set_pointer_mapping_reply(
        client_.connection(),
        xcb_set_pointer_mapping(client_.connection(), static_cast<std::uint8_t>(ofThePointer.size()),
                                ofThePointer.data()),
        nullptr));
    ASSERT_TRUE(both);
    click(1);
    stream->stop();
    const auto events = heard.events();
    ASSERT_EQ(events.size(), 7U);
    EXPECT_EQ(events[0].button, MouseButton::left);
    EXPECT_EQ(events[2].button, MouseButton::right);
    EXPECT_EQ(events[4].dy, -1);
    EXPECT_EQ(events[5].button, MouseButton::other);  // 1 is 3 is 2
}

TEST_F(X11Input, keysAreHeardAsPillsShowThem) {
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

TEST_F(X11Input, keysFollowTheLayoutAlsoWhenItChanges) {
    setLayout("us");
    const auto keys = keysIn(eventsOf([&] {
        press({keyAt(KEY_Y)});
        setLayout("de");
        press({keyAt(KEY_Y)});
        press({altGr, keyAt(KEY_Q)});  // not a modifier to show
        press({super, keyAt(KEY_LEFTBRACE)});
        press({keyAt(KEY_EQUAL)});  // dead: types nothing yet
        press({keyAt(KEY_102ND)});
        setLayout("fr");
        press({keyAt(KEY_Q)});
        press({keyAt(KEY_2)});
        press({shift, keyAt(KEY_2)});
        setLayout("us -option caps:escape");
        press({capsLock});
        // Two at once, changed over by the keyboard itself.
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

TEST_F(X11Input, aHeldKeyRepeatsUntilItIsReleased) {
    Heard heard;
    const auto stream = makeX11InputStream(display_.name());
    stream->start([&heard](const InputEvent& event) { heard.add(event); });
    {
        TestClient other(display_.name());
        // What the server itself repeats, a window with the focus sees.
        const std::uint32_t window = xcb_generate_id(other.connection());
        const std::uint32_t wanted = XCB_EVENT_MASK_KEY_PRESS;
        xcb_create_window(other.connection(), XCB_COPY_FROM_PARENT, window, other.root(), 0, 0, 10, 10, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &wanted);
        xcb_map_window(other.connection(), window);
        xcb_set_input_focus(other.connection(), XCB_INPUT_FOCUS_NONE, window, XCB_CURRENT_TIME);
        other.finish();
        client_.setKey(shift, true);
        client_.setKey(keyAt(KEY_K), true);
        int presses = 0;
        while (presses < 5) {
            const Owned<xcb_generic_event_t> event(xcb_wait_for_event(other.connection()));
            ASSERT_TRUE(event);
            presses += event->response_type == XCB_KEY_PRESS;
        }
        client_.setKey(keyAt(KEY_K), false);
        client_.setKey(keyAt(KEY_K), false);
        client_.setKey(shift, false);
    }
    // As the looks go, this takes longer than the pause between two repeats.
    const std::size_t repeated = heard.events().size();
    for (int index = 1; index <= 20; ++index) {
        client_.movePointer(index, index);
        ASSERT_TRUE(heard.waitFor(repeated + static_cast<std::size_t>(index)));
    }
    press({keyAt(KEY_K)});
    stream->stop();
    std::vector<InputEvent> presses;
    for (const InputEvent& event : heard.events())
        if (event.kind == Kind::keyDown) presses.push_back(event);
    const auto keys = keysIn(presses);
    ASSERT_GE(keys.size(), 5U);
    EXPECT_EQ(keys.front(), (Key{40, "K", {.shift = true}}));
    for (std::size_t index = 1; index + 1 < keys.size(); ++index)
        EXPECT_EQ(keys[index], (Key{40, "K", {.shift = true}, true}));
    EXPECT_EQ(keys.back(), (Key{40, "k"}));
}

TEST_F(X11Input, aKeyThatIsPressedDuringTheStartIsNoRepetition) {
    const std::uint32_t off = XCB_AUTO_REPEAT_MODE_OFF;  // however long a busy machine holds it down
    xcb_change_keyboard_control(client_.connection(), XCB_KB_AUTO_REPEAT_MODE, &off);
    client_.finish();
    const TestClient other(display_.name());  // here, as connecting is for one thread at a time
    std::atomic<bool> isOver = false;
    std::thread typist([&] {
        while (!isOver) {
            other.setKey(keyAt(KEY_K), true);
            other.setKey(keyAt(KEY_K), false);
        }
    });
    int repeats = 0;
    for (int round = 0; round < 20; ++round) {
        Heard heard;
        const auto stream = makeX11InputStream(display_.name());
        stream->start([&heard](const InputEvent& event) { heard.add(event); });
        EXPECT_TRUE(heard.waitFor(1));
        stream->stop();
        for (const InputEvent& event : heard.events()) repeats += event.isRepeat;
    }
    isOver = true;
    typist.join();
    EXPECT_EQ(repeats, 0);
}

TEST_F(X11Input, aProgramThatHoldsPointerAndKeyboardHidesNothing) {
    TestClient greedy(display_.name());
    const Owned<xcb_grab_pointer_reply_t> pointer(
        xcb_grab_pointer_reply(greedy.connection(),
                               xcb_grab_pointer(greedy.connection(), 0, greedy.root(), 0, XCB_GRAB_MODE_ASYNC,
                                                XCB_GRAB_MODE_ASYNC, XCB_NONE, XCB_NONE, XCB_CURRENT_TIME),
                               nullptr));
    const Owned<xcb_grab_keyboard_reply_t> keyboard(
        xcb_grab_keyboard_reply(greedy.connection(),
                                xcb_grab_keyboard(greedy.connection(), 0, greedy.root(), XCB_CURRENT_TIME,
                                                  XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC),
                                nullptr));
    ASSERT_TRUE(pointer && pointer->status == XCB_GRAB_STATUS_SUCCESS);
    ASSERT_TRUE(keyboard && keyboard->status == XCB_GRAB_STATUS_SUCCESS);
    const auto events = eventsOf([&] {
        client_.movePointer(7, 8);
        click(1);
        press({keyAt(KEY_A)});
    });
    ASSERT_EQ(events.size(), 4U);
    int moves = 0, clicks = 0, keys = 0;
    for (const InputEvent& event : events) {
        if (event.kind != Kind::keyDown) {
            EXPECT_EQ(event.position, (Point{7, 8}));
        }
        moves += event.kind == Kind::moved;
        clicks += event.kind == Kind::buttonChanged;
        keys += event.kind == Kind::keyDown && event.characters == "a";
    }
    EXPECT_EQ(moves, 1);
    EXPECT_EQ(clicks, 2);
    EXPECT_EQ(keys, 1);
}

TEST_F(X11Input, whatHappenedBeforeTheStopIsHeardToTheLast) {
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

TEST_F(X11Input, eventsDoNotWaitForTheStopNorTheStopForAServerThatIsGone) {
    Heard heard;
    const auto stream = makeX11InputStream(display_.name());
    stream->start([&heard](const InputEvent& event) { heard.add(event); });
    for (int index = 1; index <= 20; ++index) {
        click(1);
        ASSERT_TRUE(heard.waitFor(static_cast<std::size_t>(2 * index)));
    }
    display_.end();
    stream->stop();
}

TEST(ServerTime, isTheHostsUnlessTheServerHasAnotherClock) {
    EXPECT_NEAR(hostTimeOf(100'000'123, 100'000.5), 100'000.123, 1e-9);
    constexpr double round = 4'294'967.296;  // s, after which stamps begin again
    EXPECT_NEAR(hostTimeOf(0xffff'ff00, round + 0.1), round - 0.256, 1e-6);
    EXPECT_NEAR(hostTimeOf(50, 3 * round + 0.1), 3 * round + 0.05, 1e-6);
    EXPECT_NEAR(hostTimeOf(70'000'000, 70'050), 70'000, 1e-9);  // was held up
    for (const std::uint32_t stamp : {0U, 100'000'600U, 200'000'000U, 3'000'000'000U})
        EXPECT_EQ(hostTimeOf(stamp, 100'000.5), 100'000.5) << stamp;
}

TEST(KeyTable, everyKeyHasANumberOfItsOwnAndComesBack) {
    int known = 0;
    for (std::int64_t code = 0; code < 128; ++code) {
        const auto key = KeyTable::xKeyCode(code);
        if (!key) continue;
        ++known;
        EXPECT_EQ(KeyTable::virtualKeyCode(*key), code);
    }
    EXPECT_GE(known, 118);  // of a full keyboard with the Japanese keys
    std::set<std::int64_t> unknown;
    for (int key = 0; key < 256; ++key) {
        const std::int64_t code = KeyTable::virtualKeyCode(static_cast<std::uint8_t>(key));
        EXPECT_TRUE(code < 128 || unknown.insert(code).second) << key;
    }
    EXPECT_EQ(KeyTable::xKeyCode(19), keyAt(KEY_2));
    EXPECT_EQ(KeyTable::xKeyCode(63), std::nullopt);  // fn never reaches a server
}

}  // namespace
}  // namespace lumenwhirl
