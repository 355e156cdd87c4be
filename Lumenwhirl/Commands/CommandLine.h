#pragma once

namespace lumenwhirl {

/// Reads the arguments and runs the command they name. Results go to standard output, everything else to standard
/// error. Returns the exit status: 0 done, 1 failed, 2 wrong usage.
[[nodiscard]] int runCommandLine(int argc, const char* const* argv) noexcept;

}  // namespace lumenwhirl
