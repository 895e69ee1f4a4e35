// Puts the simulation under a module: replaces entries of its import table.
#pragma once

#include <windows.h>

namespace zorvan::simulation {

// Every function that the simulation knows is replaced, whatever DLL it is imported from. Functions of device
// installation that it does not know are replaced by one that fails the test: they must not reach the real system.
void replaceImports(HMODULE module);

} // namespace zorvan::simulation
