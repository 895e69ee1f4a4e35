// What a program says of its threads when it crashes or hangs: where they stand, as module and offset (for
// addr2line).
#pragma once

#include <string_view>

namespace zorvan::test {

constexpr unsigned kCrashExitCode = 87;

// From here on a crash says where and ends the program with the code above. Wine's debugger would end it with
// success.
void reportCrashes();

// Writes to the standard error handle without the C library, whose locks a thread that hangs may hold.
void writeError(std::string_view text);

// Suspends every thread but the calling one for good: only for a process that is about to end.
void writeThreadStacks();

} // namespace zorvan::test
