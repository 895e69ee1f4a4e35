// The library's own memory, counted. It allocates through the C runtime's malloc, whatever language feature asks.
#pragma once

namespace zorvan::simulation {

class Heap {
public:
    // Blocks that are allocated and not freed. The C++ runtime keeps some for good, so that only a difference between
    // two like moments says anything.
    static long blocks();

    // Makes the nth allocation from now on fail, once; 0: none. Tells whether the one before is still to come.
    static bool failAllocation(long nth);
};

} // namespace zorvan::simulation
