#pragma once

#include <string>
#include <string_view>

namespace lumenwhirl {

/// `utf8` in upper case by Unicode's default mappings, whatever the locale: Latin (with Vietnamese and the
/// phonetic romanisations), Greek, Cyrillic and Armenian; "ß" gives "SS". Other scripts, and bytes that are not
/// UTF-8, are left as they are.
[[nodiscard]] std::string upperCased(std::string_view utf8);

/// Appends a character in UTF-8; U+FFFD for a code that is none.
void appendUtf8(std::string& text, char32_t character);

}  // namespace lumenwhirl
