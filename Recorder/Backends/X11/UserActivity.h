#pragma once

#include "Recorder/Backends/X11/X11Connection.h"

#include <xcb/screensaver.h>

namespace lumenwhirl {

/// When the user last did something: moved the pointer, or, where the server tells idle time, pressed anything.
class UserActivity {
public:
    /// `now`, here and below: the host clock. Counts as input, as a start is worth seeing.
    UserActivity(const X11Connection& connection, const X11Extensions& extensions, double now);

    /// Sends the question; the answer must be taken next.
    void ask();
    void takeAnswer(double now);
    /// Host clock.
    [[nodiscard]] double lastInput() const noexcept { return lastInput_; }

private:
    const X11Connection& connection_;
    bool knowsIdleTime_;
    double lastInput_;
    xcb_query_pointer_cookie_t pointerCookie_{};
    xcb_screensaver_query_info_cookie_t idleCookie_{};
    bool hasPointer_ = false;  // the three below are known
    int x_ = 0, y_ = 0, mask_ = 0;
};

}  // namespace lumenwhirl
