// Ctrl+C, which asks the program to come to an end.
#pragma once

#include <windows.h>

namespace portwright::interrupt {

// From here on Ctrl+C and Ctrl+Break no longer end the process. Throws.
void install();
bool requested();
// Signalled once Ctrl+C was pressed, and stays so.
HANDLE event();

} // namespace portwright::interrupt
