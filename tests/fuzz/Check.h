#pragma once

#include <cstdio>
#include <cstdlib>

namespace wingbell {

/// Ends the program where `holds` is false, which a fuzzer takes for a find.
inline void check(bool holds, const char* what)
{
    if (!holds) {
        (void)std::fprintf(stderr, "It does not hold that %s.\n", what);
        std::abort();
    }
}

} // namespace wingbell
