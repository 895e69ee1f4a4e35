// Functions that Wine only names.
#pragma once

namespace portwright {

// From here on a call of such a function is told as what the system refused, and ends the program. Wine itself starts
// a debugger, which shows pages of registers, and ends the program with status 0.
void tellMissingFunctionsOfWine();

} // namespace portwright
