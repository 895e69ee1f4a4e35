// How many handles an object has.
#pragma once

#include <windows.h>

namespace zorvan::engine {

// Whether there is no other handle to the object in any process. Of one that cannot be asked others are assumed.
bool isLastHandle(HANDLE handle);

} // namespace zorvan::engine
