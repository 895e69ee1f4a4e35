// Follows strings until they are freed, by whoever: the library, its client, or OLE Automation itself (which frees
// the strings that pass through a late-bound call).
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <string>
#include <vector>

namespace zorvan::simulation::stringWatch {

// Before the first string is made, and for each new machine: none is followed yet.
void start();

void follow(BSTR text);

// The strings that still live, described.
std::vector<std::string> held();

} // namespace zorvan::simulation::stringWatch
