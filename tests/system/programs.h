// The source folder: files that a system test reads, and scripts that it runs.
#pragma once

#include "support/program.h"

#include <string>

namespace zorvan::test {

// The full path of a file of the source folder, such as "docs/reference.md".
std::wstring sourcePath(const std::wstring& relative);

// Runs a script of tests/system/scripts with cscript.
ProgramResult runScript(const std::wstring& name, const std::wstring& arguments = L"");

} // namespace zorvan::test
