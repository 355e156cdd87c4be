#pragma once

#include <cstdio>
#include <cstdlib>

namespace lumenwhirl::fuzz {

/// Ends the process, which is how a fuzzer learns of a fault; also without assertions.
inline void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

}  // namespace lumenwhirl::fuzz
