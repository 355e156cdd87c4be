#pragma once

#include <string>
#include <string_view>

namespace lumenwhirl {

/// Reads the arguments and runs the command they name. Results go to standard output, everything else to standard
/// error. Returns the exit status: 0 done, 1 failed, 2 wrong usage. Throws nothing.
[[nodiscard]] int runCommandLine(int argc, const char* const* argv) noexcept;

/// `message` as one line that a terminal shows as it is: control characters, such as in file names, are written as
/// escapes.
[[nodiscard]] std::string oneLine(std::string_view message);

}  // namespace lumenwhirl
