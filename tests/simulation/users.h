// Users who can log on, and as whom the library's threads act.
#pragma once

#include "simulation/handle_table.h"

#include <map>
#include <string>

namespace zorvan::simulation {

struct User {
    std::wstring domain;
    std::wstring password;
};

struct Users {
    std::map<std::wstring, User> accounts; // by login

    // The user of each thread that has a token of its own.
    std::map<DWORD, std::wstring> actingAs;
};

} // namespace zorvan::simulation
