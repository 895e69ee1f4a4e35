// The mutex by which other programs can tell that the library is loaded somewhere on the machine.
#pragma once

#include "base/unique.h"

namespace zorvan {

// Opens or creates the mutex, which everyone may open with every right. It is only ever held open, never waited on.
// Null when the system refuses: the library works without it.
UniqueHandle createRunningMutex() noexcept;

} // namespace zorvan
