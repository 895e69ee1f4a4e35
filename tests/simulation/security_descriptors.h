// Security descriptors: real, but failable; what the system allocates for them is followed until it is freed.
#pragma once

#include <set>

namespace zorvan::simulation {

struct SecurityDescriptors {
    std::set<void*> allocated;
};

} // namespace zorvan::simulation
