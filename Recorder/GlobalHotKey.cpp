#include "Recorder/GlobalHotKey.h"

#include "Recorder/Platform/PlatformError.h"

#include <utility>

namespace lumenwhirl {

bool GlobalHotKey::registerKey(ScreenSystem& screen, std::int64_t keyCode, const Modifiers& modifiers) {
    try {
        std::unique_ptr<HotKeyGrab> grab = screen.hotKey();
        if (!grab->take(keyCode, modifiers, handler_)) return false;
        grab_ = std::move(grab);
        return true;
    } catch (const PlatformError&) {  // there are other ways to stop a recording
        return false;
    }
}

GlobalHotKey GlobalHotKey::stopRecording(ScreenSystem& screen, std::function<void()> handler) {
    GlobalHotKey key(1, std::move(handler));
    (void)key.registerKey(screen, stopKeyCode, stopModifiers);
    return key;
}

}  // namespace lumenwhirl
