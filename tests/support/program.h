// Running other programs to their end, and reading what they have written.
#pragma once

#include <string>

namespace zorvan::test {

std::string readFile(const std::wstring& path);

struct ProgramResult {
    int exitCode;
    std::string output; // with its errors; lines end as in a text file of Unix
};

ProgramResult runProgram(const std::wstring& commandLine);

} // namespace zorvan::test
