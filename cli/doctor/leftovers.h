// Everything that ports leave on a machine, whatever state it is in: a client that is ended in the middle of its work
// leaves device nodes that no library object lists, and numbers in the COM port database that belong to no device.
//
// What somebody is creating at this moment looks the same. Failures are thrown as std::system_error.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace zorvan::leftovers {

struct Node {
    std::wstring instanceId;
    std::wstring portName; // empty when it has none yet
    bool hasDriver;
};

// The device nodes of ports, present or not, and those that were left before they got a hardware ID.
std::vector<Node> findNodes();

// Together with what belongs to it: driver, interfaces, number.
void removeNode(const Node& node);

// The numbers that are taken in the database, but by no device of the machine.
std::vector<DWORD> findNumbers();

void releaseNumber(DWORD number);

// Ends the ports that open although their device node is gone. Only Wine's drivers leave any.
void endPortsWithoutNode();

} // namespace zorvan::leftovers
