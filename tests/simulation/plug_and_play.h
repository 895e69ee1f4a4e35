// Plug and play: device nodes, their interfaces, and what the creation of a node yields.
#pragma once

#include "simulation/driver.h"
#include "simulation/registry.h"

#include <windows.h>

#include <setupapi.h>

#include <deque>
#include <optional>
#include <string>

namespace zorvan::simulation {

extern const GUID kPortsClass;
extern const GUID kControlInterface;
extern const GUID kSerialInterface;

// "Ports", "control", "serial", or the GUID itself.
std::string nameOfClass(const GUID& guid);

// A device node: a port of the driver under test, or another serial port.
struct DeviceNode {
    std::wstring instanceId;
    DWORD instance = 0; // its DEVINST

    std::optional<std::wstring> controlPath; // of the driver's control interface
    std::optional<std::wstring> serialPath;  // of the system's serial port interface
    RegistryKey key;                         // its hardware key, with PortName
    Driver driver;

    bool present = true;             // its interfaces are there
    int looksUntilPresent = 0;       // enumerations of control interfaces that do not show it yet
    DWORD openError = ERROR_SUCCESS; // opening the control path fails with this
    DWORD installFlags = 0;          // SP_DEVINSTALL_PARAMS_W: DI_NEEDREBOOT, DI_NEEDRESTART
    bool removable = false;          // the parameters of its removal are set
    DWORD removalInstallFlags = 0;   // added to them by DIF_REMOVE

    // Of a node that was created: how far it came.
    bool registered = false;
    bool installed = false;
    std::wstring hardwareIds; // multi-string as written

    std::optional<std::wstring> friendlyName; // as written, with or without its NUL

    std::wstring portName() const { return key.text(L"PortName"); }
    void setPortName(const std::wstring& name) { key.values[L"PortName"] = textValue(name); }
};

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
    DeviceInfoSet() : NoKernelObject("device information set") {}
    void add(DeviceNode& node) { nodes.emplace(node.instance, &node); }

    std::map<DWORD, DeviceNode*> nodes; // by instance
    std::vector<GUID> interfaceClasses; // whose interfaces the set holds
};

// The node of a set that the call is about. A device that the set does not hold is misuse.
DeviceNode& nodeOf(const Call& call, HDEVINFO set, const SP_DEVINFO_DATA* device);

// Every record of plug and play begins with its size.
template <class Record>
void requireSize(const Record& record) {
    failIf(record.cbSize != sizeof record, ERROR_INVALID_USER_BUFFER);
}

// Gives a node of a set, or its interface, to the library.
void fillDeviceInfo(const DeviceNode& node, SP_DEVINFO_DATA& data);
void fillInterfaceData(const DeviceNode& node, const GUID& interfaceClass, SP_DEVICE_INTERFACE_DATA& data);

// As Windows numbers the nodes that a program creates: ROOT\NAME\0001.
std::wstring generatedId(std::wstring name, std::size_t number);

// Makes a driver's port of a node.
void serve(DeviceNode& node, Machine& machine);

} // namespace zorvan::simulation
