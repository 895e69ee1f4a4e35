// What a fuzz target claims of every input.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace zorvan::fuzz {

// Ends the program, which the fuzzer reports with the input that did it.
inline void require(bool holds, const char* property) {
    if (holds)
        return;
    std::fprintf(stderr, "\nproperty violated: %s\n", property);
    std::abort();
}

} // namespace zorvan::fuzz
