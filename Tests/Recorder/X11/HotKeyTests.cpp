#include "Tests/Recorder/X11/Capture.h"

#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <array>
#include <atomic>
#include <vector>

namespace lumenwhirl::test {
namespace {

// X key codes of a PC keyboard.
constexpr int two = 11, three = 12, shift = 50, super = 133, control = 37, capsLock = 66, numLock = 77, f12 = 96;
constexpr std::int64_t keyTwo = 19;  // the virtual key code of "2" in the main row
constexpr Modifiers superShift{.command = true, .shift = true};

struct HotKey : testing::Test, Desktop {
    HotKey() : Desktop({320, 240}) {}
    void type(const std::vector<int>& keys) const { client.type(keys); }
    void typeTwoByF12() const {
        const std::array<xcb_keysym_t, 2> symbols{'2', '@'};
        xcb_change_keyboard_mapping(client.connection(), 1, f12, 2, symbols.data());
    }
    /// Waits until it has been pressed so many times.
    void waitFor(int count) const {
        client.waitUntil("the hot key is seen", [&] { return presses >= count; });
        EXPECT_EQ(presses, count);
    }
    [[nodiscard]] bool take(HotKeyGrab& grab, const Modifiers& modifiers = superShift) {
        return grab.take(keyTwo, modifiers, [this] { ++presses; });
    }

    std::atomic<int> presses = 0;
};

TEST_F(HotKey, isSeenWithAnyLockButNotWithOtherModifiers) {
    const auto grab = system->hotKey();
    ASSERT_TRUE(take(*grab));
    type({super, shift, two});
    waitFor(1);
    type({shift, two});
    type({super, two});
    type({super, shift, control, two});
    type({super, shift, three});
    type({two});
    // Modifiers released first, and another key pressed while it is down.
    for (const int key : {super, shift, two}) client.setKey(key, true);
    for (const int key : {shift, super}) client.setKey(key, false);
    type({three});
    client.setKey(two, false);
    waitFor(2);
    int count = 2;
    for (const int lock : {capsLock, numLock, capsLock, numLock}) {  // on and off, in all combinations
        type({lock});
        type({super, shift, two});
        waitFor(++count);
    }
    grab->release();
    type({super, shift, two});
    const auto other = system->hotKey();
    ASSERT_TRUE(take(*other, {.shift = true, .control = true}));
    type({control, shift, two});
    waitFor(count + 1);
}

TEST_F(HotKey, isPressedOnceHoweverLongItIsHeld) {
    const auto grab = system->hotKey();
    ASSERT_TRUE(take(*grab));
    // Listening shows every repeat, also of a key that another program has grabbed.
    std::atomic<int> repeats = 0;
    const auto input = system->input();
    input->start([&](const InputEvent& event) { repeats += event.isRepeat && event.keyCode == keyTwo ? 1 : 0; });
    for (const int key : {super, shift, two}) client.setKey(key, true);
    client.waitUntil("the key repeats", [&] {
        client.finish();
        return repeats >= 4;
    });
    client.setKey(two, false);
    client.setKey(two, true);  // again, so that nothing of the first press is still on its way
    waitFor(2);
    input->stop();
}

TEST_F(HotKey, belongsToOneProgramAtATimeAndIsReleasedWhileAnotherOneGrabsTheServer) {
    const auto first = system->hotKey(), second = system->hotKey(), third = system->hotKey();
    ASSERT_TRUE(take(*first));
    EXPECT_FALSE(take(*second));
    first->release();
    EXPECT_TRUE(take(*third));
    EXPECT_FALSE(take(*system->hotKey(), {.function = true}));
    type({super, shift, two});
    waitFor(1);
    typeTwoByF12();  // the third asks for the new keyboard map and gets no answer
    xcb_grab_server(client.connection());
    client.finish();
    third->release();
}

TEST_F(HotKey, isFoundByItsPlaceAndByItsSymbolUnderANewLayout) {
    const auto grab = system->hotKey();
    ASSERT_TRUE(take(*grab));
    typeTwoByF12();
    client.finish();
    // The grab follows in its own time.
    client.waitUntil("the new key is taken", [&] {
        type({super, shift, f12});
        return presses > 0;
    });
    client.finish();
    const int count = presses;
    type({super, shift, two});
    client.waitUntil("the old key is seen", [&] { return presses > count; });
}

}  // namespace
}  // namespace lumenwhirl::test
