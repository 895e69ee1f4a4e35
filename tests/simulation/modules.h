// The modules of the simulated machine, as far as they are not Windows' own.
#pragma once

#include <set>
#include <string>

namespace zorvan::simulation {

struct Modules {
    // The path that the library under test is told of itself; the real one when this is empty.
    std::wstring libraryPath;
    // The names by which further libraries can be loaded. Their functions are those that the simulation knows.
    std::set<std::wstring> loadable;
};

} // namespace zorvan::simulation
