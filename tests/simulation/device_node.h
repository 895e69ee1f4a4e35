// One device node of the machine: a port of the driver under test, or another serial port.
#pragma once

#include "simulation/driver.h"
#include "simulation/registry.h"

#include <windows.h>

#include <optional>
#include <string>

namespace zorvan::simulation {

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
    DWORD removalInstallFlags = 0;   // added to them by DIF_REMOVE

    // Of a node that was created: how far it came.
    bool registered = false;
    bool installed = false;
    std::wstring hardwareIds; // multi-string as written

    std::optional<std::wstring> friendlyName; // as written, with or without its NUL

    std::wstring portName() const { return key.text(L"PortName"); }
    void setPortName(const std::wstring& name) { key.values[L"PortName"] = textValue(name); }
};

} // namespace zorvan::simulation
