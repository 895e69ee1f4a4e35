// Plug and play: device nodes, their interfaces, and what the creation of a node yields.
#pragma once

#include "simulation/device_node.h"

#include <windows.h>

#include <setupapi.h>

#include <deque>

namespace zorvan::simulation {

class Machine;

extern const GUID kPortsClass;
extern const GUID kControlInterface;
extern const GUID kSerialInterface;

// "Ports", "control", "serial", or the GUID itself.
std::string nameOfClass(const GUID& guid);

// What DiInstallDevice does to a node, and when the node shows.
struct Installation {
    static constexpr int kNever = -1;

    DWORD error = ERROR_SUCCESS;
    bool rebootNeeded = false; // also with an error
    DWORD installFlags = 0;    // DI_NEEDREBOOT, DI_NEEDRESTART
    int looksUntilPresent = 0; // enumerations that do not show the new port yet; kNever
};

class PlugAndPlay {
public:
    // A port of the driver, with both interfaces, a PortName and a host process of its own.
    DeviceNode& addPort(const std::wstring& portName);
    // Another serial port, such as a UART's.
    DeviceNode& addSerialPort(const std::wstring& portName);
    // A node without interfaces; for the two above and for creation.
    DeviceNode& addNode(const std::wstring& instanceId);

    std::deque<DeviceNode>& nodes() { return nodes_; }
    DeviceNode* find(DWORD instance);
    DeviceNode* findByControlPath(const std::wstring& path);
    DeviceNode& latest() { return nodes_.back(); }

    // What the next creation yields, and those after it.
    Installation installation;

private:
    std::deque<DeviceNode> nodes_; // a deque: nodes never move
};

// A device information set.
struct DeviceInfoSet : NoKernelObject {
    struct Element {
        DeviceNode* node;
        std::optional<SP_REMOVEDEVICE_PARAMS> removal;
    };

    std::string description() const override { return "device information set"; }
    Element* find(const SP_DEVINFO_DATA* data);
    void add(DeviceNode& node);

    std::deque<Element> elements;
    std::vector<GUID> interfaceClasses; // whose interfaces the set holds
};

// Gives a node of a set to the library.
void fillDeviceInfo(const DeviceNode& node, const GUID& setupClass, SP_DEVINFO_DATA& data);

// The path of a node's interface, if it has one.
const std::optional<std::wstring>& interfacePath(const DeviceNode& node, const GUID& interfaceClass);

// Makes a driver's port of a node.
void serve(DeviceNode& node, Machine& machine);

} // namespace zorvan::simulation
