/// What a fuzz target says about the library; a false statement is a finding.
#ifndef KIV_FUZZ_REQUIRE_H
#define KIV_FUZZ_REQUIRE_H

#include <cstdlib>

/// Ends the program when `isTrue` is not.
inline void require(bool isTrue)
{
    if (!isTrue)
        std::abort();
}

#endif
