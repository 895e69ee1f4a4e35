// Where the threads of this process stand, as module and offset (for addr2line).
#pragma once

#include <windows.h>

#include <string_view>

namespace zorvan::test {

// Writes to the standard error handle without the C library.
void writeError(std::string_view text);

// One thread's calls, innermost first, from where the context stands.
void writeCalls(CONTEXT context);

// Suspends every thread but the calling one for good: only for a process that is about to end.
void writeThreadStacks();

} // namespace zorvan::test
