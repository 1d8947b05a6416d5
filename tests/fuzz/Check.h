#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the run with the input kept when a property does not hold.
#define FUZZ_CHECK(condition)                                                                      \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            std::fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #condition);           \
            std::abort();                                                                          \
        }                                                                                          \
    } while (false)
