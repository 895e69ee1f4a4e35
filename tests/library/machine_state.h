// What of the simulated Windows a method of the library may change.
#pragma once

#include "simulation/machine.h"

namespace zorvan::simulation {

class MachineState {
public:
    explicit MachineState(Machine& machine);
    // In place, because the library may know nodes by their address. Its calls are over, its handles closed.
    void restore(Machine& machine) const;

private:
    std::deque<DeviceNode> nodes_;
    std::tuple<Processes, PortNumbers, Registry, DosNames, Users> rest_;
};

// The same in words, for comparison; of the drivers, what they were told.
std::string stateOf(Machine& machine);

} // namespace zorvan::simulation
