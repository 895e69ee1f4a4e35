// Other programs that a system test runs, and the files of the source folder that it reads.
#pragma once

#include <string>

namespace zorvan::test {

// The full path of a file of the source folder, such as "docs/reference.md".
std::wstring sourcePath(const std::wstring& relative);

std::string readFile(const std::wstring& path);

struct ProgramResult {
    unsigned long exitCode;
    std::string output;
};

// Runs a program to its end, or for at most a minute; then it is ended and the test case with it.
ProgramResult runProgram(const std::wstring& commandLine);

// Runs a script of tests/system/scripts with cscript.
ProgramResult runScript(const std::wstring& name, const std::wstring& arguments = L"");

} // namespace zorvan::test
