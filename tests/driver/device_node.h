// A device node of the development driver, made and removed through the system's device installation.
#pragma once

#include "base/unique.h"

#include <setupapi.h>

#include <string>
#include <vector>

namespace zorvan::test {

struct DeviceSetTraits {
    using Value = HDEVINFO;
    static Value invalid() { return INVALID_HANDLE_VALUE; }
    static void close(Value set) { SetupDiDestroyDeviceInfoList(set); }
};
using UniqueDeviceSet = Unique<DeviceSetTraits>;

// The name of the numbered test port: far from the ports that the machine has itself.
std::wstring testPortName(unsigned number);

class DeviceNode {
public:
    // Creates the node, installs the driver on it and waits until both interfaces are there. Throws when any of this
    // fails, with no node left behind.
    explicit DeviceNode(std::wstring portName);
    // The node of the numbered test port.
    explicit DeviceNode(unsigned number) : DeviceNode(testPortName(number)) {}
    ~DeviceNode();
    DeviceNode(const DeviceNode&) = delete;
    DeviceNode& operator=(const DeviceNode&) = delete;

    void remove();

    const std::wstring& portName() const { return portName_; }
    const std::wstring& instanceId() const { return instanceId_; }
    const std::wstring& controlPath() const { return controlPath_; }
    const std::wstring& serialPath() const { return serialPath_; }

private:
    void registerNode();
    void writePortName();
    void install();
    void findInterfaces();

    std::wstring portName_;
    std::wstring instanceId_;
    std::wstring controlPath_;
    std::wstring serialPath_;
    UniqueDeviceSet set_;
    SP_DEVINFO_DATA node_{};
    bool registered_ = false;
};

// Removes the nodes of test ports that a run of the tests left behind when it was ended by force.
void removeLeftovers();

// Paths of the present interfaces of the class that belong to the node; all nodes' when no instance ID is given.
std::vector<std::wstring> interfacePaths(const GUID& interfaceClass, const std::wstring& instanceId = {});

extern const GUID kControlInterface;
extern const GUID kSerialInterface;

} // namespace zorvan::test
