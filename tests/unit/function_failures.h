// How each function of Windows fails in a sweep, where that is not as most do.
#pragma once

#include "fault_sweep.h"

namespace zorvan::simulation {

// How a function fails, and what that means to most methods.
struct Function {
    DWORD error = ERROR_GEN_FAILURE;
    bool returnsError = false; // so that 0 is a success
    Outcome outcome = kReported;
};

const Function& functionNamed(const std::string& name);

// Whether its success may bring less than was asked for.
bool bringsData(const std::string& function);

} // namespace zorvan::simulation
