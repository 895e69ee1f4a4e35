// What ports leave on a machine when a client is ended in the middle of its work: device nodes that no library object
// lists, and numbers in the COM port database that belong to no device.
//
// What somebody is creating at this moment looks the same. Failures are thrown as Failure.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace portwright::doctor {

struct Node {
    std::string instanceId;
    std::string portName; // empty when it has none yet
    bool hasDriver;
};

// The device nodes of ports, present or not, and those that were left before they got anything at all.
std::vector<Node> findNodes();

// Together with what belongs to it: driver, interfaces, number.
void removeNode(const Node& node);

// The numbers that are taken in the database, but by no device of the machine.
std::vector<DWORD> findNumbers();

void releaseNumber(DWORD number);

// Ends the ports that open although their device node is gone. Only Wine's drivers leave any.
void endPortsWithoutNode();

} // namespace portwright::doctor
