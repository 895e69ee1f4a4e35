// The module that this code is in.
#pragma once

#include <windows.h>

namespace zorvan {

HINSTANCE moduleInstance();

} // namespace zorvan
