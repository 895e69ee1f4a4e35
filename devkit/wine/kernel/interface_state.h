// Switching a device interface off, also when its device node has been deleted already.
#pragma once

#include "sys/kernel.h"

namespace zorvan::engine {

// Listeners hear of it as of a removal. Does nothing to an interface that is off.
void disableInterface(UNICODE_STRING* interfacePath);

} // namespace zorvan::engine
