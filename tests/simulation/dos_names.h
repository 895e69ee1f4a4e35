// The names of devices for programs, such as COM5, and what they lead to.
#pragma once

#include <map>
#include <string>

namespace zorvan::simulation {

struct DosNames {
    std::map<std::wstring, std::wstring> targets;
};

} // namespace zorvan::simulation
