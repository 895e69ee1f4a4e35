// What the main function of the test programs offers to tests.
#pragma once

#include <string>
#include <vector>

namespace zorvan::test {

// The program's arguments without its name and without GoogleTest's own.
const std::vector<std::wstring>& arguments();

// The path of a file that stands beside the program, or above it: siblingPath(L"..\\zorvanlib.dll").
std::wstring siblingPath(const std::wstring& relative);

} // namespace zorvan::test
