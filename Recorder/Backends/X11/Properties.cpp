#include "Recorder/Backends/X11/Properties.h"

namespace lumenwhirl {

std::string textIn(const X11Connection& connection, xcb_get_property_cookie_t cookie) {
    const auto reply = connection.reply(&xcb_get_property_reply, cookie);
    if (!reply || reply->format != 8) return {};
    return {static_cast<const char*>(xcb_get_property_value(reply.get())),
            static_cast<std::size_t>(xcb_get_property_value_length(reply.get()))};
}

std::vector<std::uint32_t> numbersIn(const X11Connection& connection, xcb_get_property_cookie_t cookie) {
    const auto reply = connection.reply(&xcb_get_property_reply, cookie);
    if (!reply || reply->format != 32) return {};
    const auto* first = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
    return {first, first + reply->value_len};
}

std::string utf8FromLatin1(const std::string& text) {
    std::string utf8;
    for (const char character : text) {
        const auto code = static_cast<unsigned char>(character);
        if (code < 0x80) {
            utf8 += character;
        } else {
            utf8 += static_cast<char>(0xc0 | code >> 6);
            utf8 += static_cast<char>(0x80 | (code & 0x3f));
        }
    }
    return utf8;
}

}  // namespace lumenwhirl
