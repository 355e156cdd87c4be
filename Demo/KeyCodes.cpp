#include "Demo/KeyCodes.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace lumenwhirl::demo {
namespace {

// Index: virtual key code. A blank is a key that types nothing of its own here.
constexpr std::string_view plainKeys = "asdfhgzxcv bqweryt123465=97-80]ou[ip lj'k;\\,/nm.  `";
constexpr std::string_view shiftedKeys = "ASDFHGZXCV BQWERYT!@#$^%+(&_*)}OU{IP LJ\"K:|<?NM>  ~";
static_assert(plainKeys.size() == shiftedKeys.size() && plainKeys[35] == 'p' && plainKeys[47] == '.');

}  // namespace

KeyStroke keyStrokeFor(char character) {
    if (character == ' ') return {keyCode::space, false};
    if (const auto code = plainKeys.find(character); code != std::string_view::npos)
        return {static_cast<std::int64_t>(code), false};
    if (const auto code = shiftedKeys.find(character); code != std::string_view::npos)
        return {static_cast<std::int64_t>(code), true};
    throw std::invalid_argument(std::string("no key types character ") + character);
}

}  // namespace lumenwhirl::demo
