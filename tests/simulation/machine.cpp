#include "simulation/machine.h"

#include <cstdio>
#include <cstdlib>

namespace zorvan::simulation {

static Machine* currentMachine = nullptr; // guarded by simulationMutex()

Machine::Machine() {
    const Guard lock(simulationMutex());
    currentMachine = this;
}

Machine::~Machine() {
    const Guard lock(simulationMutex());
    currentMachine = nullptr;
}

Machine& Machine::current() {
    const Guard lock(simulationMutex());
    if (currentMachine == nullptr) {
        std::fputs("The library called Windows after its test was over: a thread of it still runs.\n", stderr);
        std::abort();
    }
    return *currentMachine;
}

void Machine::signal(const DeviceNode& node) {
    const Guard lock(simulationMutex());
    auto* handle = reinterpret_cast<HANDLE>(node.driver.state.hostEvent);
    if (const auto event = std::dynamic_pointer_cast<Event>(hostOf(node).handles.find(handle)))
        SetEvent(event->real);
}

std::vector<std::string> Machine::held() const {
    const Guard lock(simulationMutex());
    auto all = handles.held();
    for (const auto& others : {automation.held(), windows.held()})
        all.insert(all.end(), others.begin(), others.end());
    all.insert(all.end(), securityDescriptors.size(), "memory of a security descriptor");
    return all;
}

} // namespace zorvan::simulation
