#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the run with the input kept when a property does not hold.
inline void Check(bool holds, int line = __builtin_LINE()) {
    if (!holds) {
        std::fprintf(stderr, "not so: line %d\n", line);
        std::abort();
    }
}
