// The COM port database.
#pragma once

#include "simulation/handle_table.h"

#include <set>

namespace zorvan::simulation {

struct PortDatabase {
    std::set<DWORD> claimed;

    // The lowest number that is free, claimed for the caller.
    DWORD claimNextFree();
};

} // namespace zorvan::simulation
