// Running other programs to their end, and reading what they have written.
#pragma once

#include <string>

namespace zorvan::test {

std::string readFile(const std::wstring& path);

struct ProgramResult {
    unsigned long exitCode;
    std::string output; // with its errors; lines end as in a text file of Unix
};

// Throws when the program cannot be started or has not ended after a minute; it is ended then.
ProgramResult runProgram(const std::wstring& commandLine);

} // namespace zorvan::test
