// The members that the type library of the DLL under test lists, as "IPin::sendTo" and "ISocket::get_DTR".
#pragma once

#include <string>
#include <vector>

namespace zorvan::simulation {

// Of the interfaces for automation: the only other one is the client's to implement.
std::vector<std::string> listedMembers();

} // namespace zorvan::simulation
