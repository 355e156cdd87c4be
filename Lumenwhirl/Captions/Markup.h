#pragma once

#include "Lumenwhirl/Captions/CaptionFile.h"

#include <string>
#include <string_view>

namespace lumenwhirl::CaptionFile {

/// A line of a file without tags and positions, its character references resolved. Takes time linear in its
/// length.
[[nodiscard]] std::string withoutMarkup(std::string_view line, Format format);

/// A line of text such that withoutMarkup() gives it back. SubRip has no way to write a "<" before a "b": there an
/// invisible character, U+2060, parts what would be read as markup.
[[nodiscard]] std::string withMarkup(std::string_view line, Format format);

}  // namespace lumenwhirl::CaptionFile
