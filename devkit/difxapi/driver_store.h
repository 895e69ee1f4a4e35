// The system's store of driver packages: what device installation finds there, it can install.
//
// It is Windows' INF folder, with the other files of a package beside its INF. A folder for each package would be
// neater, but Wine's device installation forgets where a package came from with the first device that it installs.
#pragma once

#include "driver_package.h"

namespace zorvan::devkit::driverStore {

// A package is known by the name of its INF.
bool contains(const DriverPackage& package);

// Takes the place of a package of the same name. When it throws, the store has neither.
void add(const DriverPackage& package);

void remove(const DriverPackage& package);

} // namespace zorvan::devkit::driverStore
