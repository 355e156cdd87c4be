#pragma once

#include "Recorder/Backends/X11/X11Connection.h"

#include <cstdint>
#include <string>
#include <vector>

/// Properties of windows. All are requested before the first reply is read, so that many cost one round trip. A
/// property that does not exist, or whose window is gone, has no value.
namespace lumenwhirl {

/// `type`: XCB_ATOM_ANY for any. `limit`: in units of four bytes; enough for many windows and long titles.
[[nodiscard]] inline xcb_get_property_cookie_t askForProperty(const X11Connection& connection, xcb_window_t window,
                                                              xcb_atom_t property, xcb_atom_t type,
                                                              std::uint32_t limit = 4096) {
    return xcb_get_property(connection, 0, window, property, type, 0, limit);
}

/// The bytes of a property of format 8.
[[nodiscard]] std::string textIn(const X11Connection& connection, xcb_get_property_cookie_t cookie);
/// The values of a property of format 32: numbers, atoms, windows.
[[nodiscard]] std::vector<std::uint32_t> numbersIn(const X11Connection& connection,
                                                   xcb_get_property_cookie_t cookie);

/// Converts from the encoding of the type STRING.
[[nodiscard]] std::string utf8FromLatin1(const std::string& text);
/// Makes valid UTF-8 on one line of a title, which programs and web pages fill with anything: control characters
/// become spaces, and what is not UTF-8 becomes U+FFFD.
[[nodiscard]] std::string cleanUtf8(const std::string& text);

}  // namespace lumenwhirl
