// The process in which the system runs the driver.
#pragma once

#include "control_client.h"

namespace zorvan::test {

// Ends the driver's process and waits until the driver runs again, with all its devices. The port is one of them.
void restartDriver(const ControlClient& port);

} // namespace zorvan::test
