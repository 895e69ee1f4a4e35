// The Driver Install Frameworks of the simulated machine, and the system folder that its drivers are in.
#pragma once

#include <string>

namespace zorvan::simulation {

struct DriverPackages {
    // What the next removal of a package says, whatever its result.
    bool restartNeeded = false;
    std::wstring systemFolder = L"C:\\windows\\system32";
};

} // namespace zorvan::simulation
