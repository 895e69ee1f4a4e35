#include "simulation/simulated_function.h"

#include <map>

namespace zorvan::simulation {

namespace {

// Filled while the program starts, in no particular order of files.
std::map<std::string_view, void*>& functions() {
    static std::map<std::string_view, void*> all;
    return all;
}

} // namespace

SimulatedFunction::SimulatedFunction(const char* name, void* implementation) {
    functions()[name] = implementation;
}

void* SimulatedFunction::find(std::string_view name) {
    const auto found = functions().find(name);
    return found == functions().end() ? nullptr : found->second;
}

} // namespace zorvan::simulation
