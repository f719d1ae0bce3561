#pragma once

#include <cstdio>
#include <cstdlib>

namespace obg::test {

/// Ends the process, and so makes the input at hand a finding, unless `holds`. `claim` says what was to hold.
inline void require(bool holds, const char* claim)
{
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", claim);
        std::abort();
    }
}

} // namespace obg::test
