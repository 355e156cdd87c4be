#include "Recorder/Backends/X11/Properties.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace lumenwhirl {
namespace {

/// A character and its length in bytes, which is 0 where no UTF-8 character begins.
struct Character {
    std::uint32_t code = 0;
    std::size_t length = 0;
};

Character characterAt(std::string_view text) {
    const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    if (byte(0) < 0x80) return {byte(0), 1};
    const std::size_t length = byte(0) >= 0xf0 ? 4 : byte(0) >= 0xe0 ? 3 : 2;
    if (byte(0) < 0xc2 || byte(0) > 0xf4 || text.size() < length) return {};
    std::uint32_t code = byte(0) & (0x7fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0) != 0x80) return {};
        code = code << 6 | (byte(i) & 0x3f);
    }
    const bool isTooLong = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
    const bool isSurrogate = code >= 0xd800 && code < 0xe000;
    return isTooLong || isSurrogate || code > 0x10ffff ? Character{} : Character{code, length};
}

}  // namespace

std::string textIn(const X11Connection& connection, xcb_get_property_cookie_t cookie) {
    const auto reply = connection.reply(&xcb_get_property_reply, cookie);
    if (!reply || reply->format != 8) return {};
    return textIn(*reply, xcb_get_property_value(reply.get()), xcb_get_property_value_length(reply.get()));
}

std::vector<std::uint32_t> numbersIn(const X11Connection& connection, xcb_get_property_cookie_t cookie) {
    const auto reply = connection.reply(&xcb_get_property_reply, cookie);
    if (!reply || reply->format != 32) return {};
    const auto* first = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
    const auto numbers = listIn(*reply, first, reply->value_len);
    return {numbers.begin(), numbers.end()};
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

std::string cleanUtf8(const std::string& text) {
    std::string clean;
    for (std::string_view rest = text; !rest.empty();) {
        const Character character = characterAt(rest);
        if (character.length == 0)
            clean += "\xef\xbf\xbd";
        else if (character.code < 0x20 || (character.code >= 0x7f && character.code < 0xa0))
            clean += ' ';
        else
            clean += rest.substr(0, character.length);
        rest.remove_prefix(std::max(character.length, std::size_t{1}));
    }
    return clean;
}

}  // namespace lumenwhirl
