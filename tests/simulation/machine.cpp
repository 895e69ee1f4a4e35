#include "simulation/machine.h"

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

std::vector<std::string> Machine::held() const {
    const std::lock_guard lock(simulationMutex());
    auto all = handles.held();
    const auto automationObjects = automation.held();
    all.insert(all.end(), automationObjects.begin(), automationObjects.end());
    return all;
}

} // namespace zorvan::simulation
