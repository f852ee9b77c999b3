// What a fuzz target does on a broken guarantee: it names the guarantee and aborts, which libFuzzer reports.
#pragma once

#include <cstdio>
#include <cstdlib>

inline void require(bool condition, const char *what) {
    if (!condition) {
        std::fprintf(stderr, "broken guarantee: %s\n", what);
        std::abort();
    }
}
