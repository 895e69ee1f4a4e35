// Whether a handle leads to something that can carry a port's traffic.
//
// Wine's server answers this by itself. The file type, which would be the obvious question, is answered by whoever
// serves the file: that may be this driver, on the very thread that asks, or one that never answers.
#pragma once

#include <windows.h>

namespace zorvan::engine {

// A handle for synchronous requests is none of them: its thread could not be stopped while one is under way.
bool isPipe(HANDLE handle);
bool isFile(HANDLE handle);

} // namespace zorvan::engine
