#include "simulation/machine.h"

#include <dbt.h>

#include <cstdio>
#include <cstdlib>

namespace zorvan::simulation {

namespace {

Machine* currentMachine = nullptr; // guarded by simulationMutex()

} // namespace

Machine::Machine() {
    const std::lock_guard lock(simulationMutex());
    currentMachine = this;
}

Machine::~Machine() {
    const std::lock_guard lock(simulationMutex());
    currentMachine = nullptr;
}

Machine& Machine::current() {
    const std::lock_guard lock(simulationMutex());
    if (currentMachine == nullptr) {
        std::fputs("The library called Windows after its test was over: a thread of it still runs.\n", stderr);
        std::abort();
    }
    return *currentMachine;
}

void Machine::announce(WPARAM event, std::optional<DWORD> dataType) const {
    windows.announce(event, dataType, kControlInterface);
}

void Machine::announce() const {
    announce(DBT_DEVICEARRIVAL, DBT_DEVTYP_DEVICEINTERFACE);
}

void Machine::signal(const DeviceNode& node) {
    const std::lock_guard lock(simulationMutex());
    const auto& hosted = hostOf(node).handles;
    const auto found = hosted.find(node.driver.state.hostEvent);
    if (found != hosted.end())
        dynamic_cast<const Event&>(*found->second).signal();
}

std::vector<std::string> Machine::held() const {
    const std::lock_guard lock(simulationMutex());
    auto all = handles.held();
    const auto automationObjects = automation.held();
    all.insert(all.end(), automationObjects.begin(), automationObjects.end());
    const auto windowObjects = windows.held();
    all.insert(all.end(), windowObjects.begin(), windowObjects.end());
    for (std::size_t i = 0; i < securityDescriptors.allocated.size(); ++i)
        all.emplace_back("memory of a security descriptor");
    return all;
}

} // namespace zorvan::simulation
