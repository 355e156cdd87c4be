#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lumenwhirl {

/// The scripts of those characters of a UTF-8 text that no installed font can draw, so that boxes would stand for
/// them, each with the Debian package that has fonts for it: "Thai (install fonts-noto-core)". Only the first 2000
/// different characters are looked at.
[[nodiscard]] std::vector<std::string> scriptsWithoutFont(std::string_view text);

}  // namespace lumenwhirl
