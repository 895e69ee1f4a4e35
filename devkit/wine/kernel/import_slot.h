// Where a loaded module keeps the address of a function that it imports.
#pragma once

#include <windows.h>

namespace zorvan::engine {

// Lets the module call something else in place of the function, from now on. One that it finds only at its first call
// must have been called before. Nothing happens when the module does not know the function.
void replaceImport(HMODULE module, const void* function, const void* replacement);

} // namespace zorvan::engine
