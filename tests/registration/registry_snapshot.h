// What stands in a part of the registry, as lines of text that can be compared.
#pragma once

#include <windows.h>

#include <set>
#include <string>

namespace zorvan::test {

using Snapshot = std::set<std::wstring>;

// The line of a key, and the line of a value. Paths are in lower case, as the registry does not tell case apart. The
// default value has the name "@". Data starts with its type as in registry scripts: "s text|", "m one|two||",
// "d 01000000", "b 00ff", where "|" is a NUL; data of other types is given with the type's number, in hexadecimal.
std::wstring keyLine(std::wstring path);
std::wstring valueLine(const std::wstring& path, const std::wstring& name, const std::wstring& data);

// Every key and value under a key, or under one subkey of it and with that itself; paths are relative to the key.
// Empty when there is no such key. Leaves out Wow6432Node: the system keeps it a mirror of what is beside it.
Snapshot takeSnapshot(HKEY root, const std::wstring& path, const std::wstring& subkey = {});

// The lines of the first that the second lacks.
Snapshot operator-(const Snapshot& first, const Snapshot& second);

} // namespace zorvan::test
