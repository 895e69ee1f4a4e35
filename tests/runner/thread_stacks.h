// Where the threads of this process stand, as module and offset (for addr2line).
#pragma once

#include <string_view>

namespace zorvan::test {

// Writes to the standard error handle without the C library.
void writeError(std::string_view text);

// Suspends every thread but the calling one for good: only for a process that is about to end.
void writeThreadStacks();

} // namespace zorvan::test
