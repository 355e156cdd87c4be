#include "Recorder/Backends/X11/X11ScreenSystem.h"
#include "Tests/Recorder/X11/TestClient.h"
#include "Tests/Recorder/X11/VirtualDisplay.h"

#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <array>
#include <atomic>
#include <vector>

namespace lumenwhirl::test {
namespace {

// X key codes of a PC keyboard.
constexpr int two = 11, three = 12, shift = 50, super = 133, control = 37, capsLock = 66, numLock = 77;
constexpr std::int64_t keyTwo = 19;  // the virtual key code of "2" in the main row
constexpr Modifiers superShift{.command = true, .shift = true};

class HotKey : public testing::Test {
protected:
    void type(const std::vector<int>& keys) const { client_.type(keys); }
    /// Waits until it has been pressed so many times.
    void waitFor(int count) const {
        client_.waitUntil("the hot key is seen", [&] { return presses_ >= count; });
        EXPECT_EQ(presses_, count);
    }
    [[nodiscard]] bool take(HotKeyGrab& grab, const Modifiers& modifiers = superShift) {
        return grab.take(keyTwo, modifiers, [this] { ++presses_; });
    }

    VirtualDisplay display_{{320, 240}};
    TestClient client_{display_.name()};
    std::unique_ptr<ScreenSystem> system_ = connectToX11(display_.name());
    std::atomic<int> presses_ = 0;
};

TEST_F(HotKey, isSeenWithAnyLockButNotWithOtherModifiers) {
    const auto grab = system_->hotKey();
    ASSERT_TRUE(take(*grab));
    type({super, shift, two});
    waitFor(1);
    type({shift, two});
    type({super, two});
    type({super, shift, control, two});
    type({super, shift, three});
    type({two});
    // Modifiers released first, and another key pressed while it is down.
    for (const int key : {super, shift, two}) client_.setKey(key, true);
    for (const int key : {shift, super}) client_.setKey(key, false);
    type({three});
    client_.setKey(two, false);
    waitFor(2);
    int count = 2;
    for (const int lock : {capsLock, numLock, capsLock, numLock}) {  // on and off, in all combinations
        type({lock});
        type({super, shift, two});
        waitFor(++count);
    }
    grab->release();
    type({super, shift, two});
    const auto other = system_->hotKey();
    ASSERT_TRUE(take(*other, {.shift = true, .control = true}));
    type({control, shift, two});
    waitFor(count + 1);
}

TEST_F(HotKey, isPressedOnceHoweverLongItIsHeld) {
    const auto grab = system_->hotKey();
    ASSERT_TRUE(take(*grab));
    // Listening shows every repeat, also of a key that another program has grabbed.
    std::atomic<int> repeats = 0;
    const auto input = system_->input();
    input->start([&](const InputEvent& event) { repeats += event.isRepeat && event.keyCode == keyTwo ? 1 : 0; });
    for (const int key : {super, shift, two}) client_.setKey(key, true);
    client_.waitUntil("the key repeats", [&] {
        client_.finish();
        return repeats >= 4;
    });
    client_.setKey(two, false);
    client_.setKey(two, true);  // again, so that nothing of the first press is still on its way
    waitFor(2);
    input->stop();
}

TEST_F(HotKey, belongsToOneProgramAtATime) {
    const auto first = system_->hotKey(), second = system_->hotKey(), third = system_->hotKey();
    ASSERT_TRUE(take(*first));
    EXPECT_FALSE(take(*second));
    first->release();
    EXPECT_TRUE(take(*third));
    EXPECT_FALSE(take(*system_->hotKey(), {.function = true}));
    type({super, shift, two});
    waitFor(1);
}

TEST_F(HotKey, isReleasedWhileAnotherProgramGrabsTheServer) {
    const auto grab = system_->hotKey();
    ASSERT_TRUE(take(*grab));
    // It asks for the new keyboard map and gets no answer.
    const std::array<xcb_keysym_t, 2> symbols{'2', '@'};
    xcb_change_keyboard_mapping(client_.connection(), 1, 96, 2, symbols.data());
    xcb_grab_server(client_.connection());
    client_.finish();
    grab->release();
}

TEST_F(HotKey, isFoundByItsPlaceAndByItsSymbolUnderANewLayout) {
    const auto grab = system_->hotKey();
    ASSERT_TRUE(take(*grab));
    constexpr int functionKey = 96;  // F12
    const std::array<xcb_keysym_t, 2> symbols{'2', '@'};
    xcb_change_keyboard_mapping(client_.connection(), 1, functionKey, 2, symbols.data());
    client_.finish();
    // The grab follows in its own time.
    client_.waitUntil("the new key is taken", [&] {
        type({super, shift, functionKey});
        return presses_ > 0;
    });
    client_.finish();
    const int count = presses_;
    type({super, shift, two});
    client_.waitUntil("the old key is seen", [&] { return presses_ > count; });
}

}  // namespace
}  // namespace lumenwhirl::test
