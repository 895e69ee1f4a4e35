// What stands in a part of the registry, as lines of text that can be compared.
#pragma once

#include <windows.h>

#include <set>
#include <string>

namespace zorvan::test {

using Snapshot = std::set<std::wstring>;

// The line of a key is its path, in lower case, as the registry does not tell case apart. The line of a value adds
// its name, or "@" for the default value. Data starts with its type, in hexadecimal: "1 text|" is a string, "7
// one|two||" are several, where "|" is a NUL; other data is given in hexadecimal, byte by byte.
std::wstring keyLine(std::wstring path);
std::wstring valueLine(const std::wstring& path, const std::wstring& name, const std::wstring& data);

// Every key and value under a key; paths are relative to it. Empty when there is no such key. Leaves out Wow6432Node:
// the system keeps it a mirror of what is beside it.
Snapshot takeSnapshot(HKEY root, const std::wstring& path);

// The lines of the first that the second lacks.
Snapshot operator-(const Snapshot& first, const Snapshot& second);

} // namespace zorvan::test
