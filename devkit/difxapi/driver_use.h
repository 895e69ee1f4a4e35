// What an installation of the driver on a device has left in the system: the services that run the driver, and its
// files where they run.
#pragma once

#include "driver_package.h"

namespace zorvan::devkit::driverUse {

// Whether any device has the driver, present or not.
bool hasDevices(const DriverPackage& package);

// Takes services and files out again; no device may have the driver. Returns whether a restart is needed for the
// rest.
bool remove(const DriverPackage& package);

} // namespace zorvan::devkit::driverUse
