#include "simulation/machine.h"

#include <gtest/gtest.h>

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
    if (const auto event = std::dynamic_pointer_cast<RealObject>(hostOf(node).handles.find(handle)))
        SetEvent(event->real);
}

void Machine::count(const std::string& kind, int change) {
    const Guard lock(simulationMutex());
    EXPECT_GE(given[kind] += change, 0) << kind << " given back twice";
}

std::vector<std::string> Machine::held() const {
    const Guard lock(simulationMutex());
    auto all = handles.held();
    const auto others = automation.held();
    all.insert(all.end(), others.begin(), others.end());
    for (const auto& [kind, count] : given)
        all.insert(all.end(), static_cast<std::size_t>(count), kind);
    return all;
}

} // namespace zorvan::simulation
