#include "Recorder/Backends/X11/UserActivity.h"

#include <algorithm>

namespace lumenwhirl {

UserActivity::UserActivity(const X11Connection& connection, const X11Extensions& extensions, double now)
    : connection_(connection), knowsIdleTime_(extensions.hasScreenSaver), lastInput_(now) {}

void UserActivity::ask() {
    pointerCookie_ = xcb_query_pointer(connection_, connection_.root());
    if (knowsIdleTime_) idleCookie_ = xcb_screensaver_query_info(connection_, connection_.root());
}

void UserActivity::takeAnswer(double now) {
    if (const auto pointer = connection_.reply(&xcb_query_pointer_reply, pointerCookie_)) {
        if (hasPointer_ && (pointer->root_x != x_ || pointer->root_y != y_ || pointer->mask != mask_))
            lastInput_ = now;
        hasPointer_ = true;
        x_ = pointer->root_x;
        y_ = pointer->root_y;
        mask_ = pointer->mask;
    }
    if (!knowsIdleTime_) return;
    if (const auto idle = connection_.reply(&xcb_screensaver_query_info_reply, idleCookie_))
        lastInput_ = std::max(lastInput_, now - idle->ms_since_user_input / 1000.0);
}

}  // namespace lumenwhirl
