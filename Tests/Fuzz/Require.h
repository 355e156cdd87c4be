#pragma once

#include <cstdio>
#include <cstdlib>

namespace lumenwhirl::fuzz {

/// Ends the process on a failure, which is how the fuzzer notices it, even in builds without assertions.
inline void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

}  // namespace lumenwhirl::fuzz
