#pragma once

#include <cstdio>
#include <cstdlib>

namespace tintwell::fuzz {

/// Ends the program, with the input kept by the fuzzer, where a promise does not hold.
inline void check(bool holds, const char* promise) {
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", promise);
        std::abort();
    }
}

} // namespace tintwell::fuzz
