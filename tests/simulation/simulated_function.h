// The functions of Windows that the simulation answers. Each announces itself beside its definition:
//
//     BOOL WINAPI closeHandle(HANDLE handle) { ... }
//     SIMULATE(CloseHandle, closeHandle);
//
// From then on the library under test calls it instead of the system's function, whatever DLL it imports it from.
#pragma once

#include <string_view>

namespace zorvan::simulation {

class SimulatedFunction {
public:
    template <class Function>
    SimulatedFunction(const char* name, Function* implementation)
        : SimulatedFunction(name, reinterpret_cast<void*>(implementation)) {}

    // Null when the simulation does not know the function.
    static void* find(std::string_view name);

    // The same, for a caller that knows its type: find<decltype(CloseHandle)>("CloseHandle").
    template <class Function>
    static Function* find(std::string_view name) {
        return reinterpret_cast<Function*>(find(name));
    }

private:
    SimulatedFunction(const char* name, void* implementation);
};

} // namespace zorvan::simulation

// The system's own declaration checks the signature.
#define SIMULATE(function, implementation)                                                                           \
    static const ::zorvan::simulation::SimulatedFunction simulated##function(                                        \
        #function, static_cast<decltype(&::function)>(&(implementation)))

// For a function that no header of mingw-w64 declares.
#define SIMULATE_UNDECLARED(function, implementation)                                                                \
    static const ::zorvan::simulation::SimulatedFunction simulated##function(#function, &(implementation))
