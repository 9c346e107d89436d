#pragma once

#include <cstdio>
#include <cstdlib>

namespace fuzz {

/// Ends the program, which keeps the input as a finding, when `fact` does not hold.
inline void invariant(bool fact, const char* what) {
    if (fact) return;
    std::fprintf(stderr, "broken invariant: %s\n", what);
    std::abort();
}

}  // namespace fuzz
