#pragma once

#include "Recorder/Platform/InputStream.h"

#include <cstdint>
#include <functional>

namespace lumenwhirl {

/// A key with modifiers that is taken from all other programs while this lives.
class HotKeyGrab {
public:
    virtual ~HotKeyGrab() = default;
    /// `keyCode`: a virtual key code, as in the event log. `pressed` is called on a thread of the grab's own at
    /// every press, repeats left out. False when another program has the key or the system offers no such thing.
    /// Once.
    [[nodiscard]] virtual bool take(std::int64_t keyCode, const Modifiers& modifiers,
                                    std::function<void()> pressed) = 0;
    /// `pressed` is not called any more when it returns. Not from `pressed`. May be called again, and before
    /// take().
    virtual void release() noexcept = 0;
};

}  // namespace lumenwhirl
