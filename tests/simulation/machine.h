// The simulated Windows of one test.
//
//     Machine machine;
//     auto& port = machine.addPort(L"COM5");
//     port.driver.refuse(Query::Mode, ERROR_BUSY);
//     machine.fail("OpenProcess", 1, ERROR_ACCESS_DENIED);
//
// It is there for every thread of the process from its construction to its destruction; there is one at a time.
#pragma once

#include "simulation/automation.h"
#include "simulation/call.h"
#include "simulation/clock.h"
#include "simulation/dos_names.h"
#include "simulation/driver.h"
#include "simulation/driver_packages.h"
#include "simulation/files.h"
#include "simulation/handle_table.h"
#include "simulation/kernel_objects.h"
#include "simulation/message_windows.h"
#include "simulation/modules.h"
#include "simulation/plug_and_play.h"
#include "simulation/port_database.h"
#include "simulation/processes.h"
#include "simulation/registry.h"
#include "simulation/security_descriptors.h"
#include "simulation/threads.h"
#include "simulation/users.h"

namespace zorvan::simulation {

class Machine {
public:
    Machine();
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;
    ~Machine();

    static Machine& current();

    CallLog calls;
    Clock clock;
    HandleTable handles;
    KernelObjects kernel;
    Processes processes;
    PlugAndPlay plugAndPlay;
    PortDatabase portDatabase;
    Registry registry;
    DosNames dosNames;
    Modules modules;
    DriverPackages driverPackages;
    Threads threads;
    MessageWindows windows;
    Files files;
    Users users;
    SecurityDescriptors securityDescriptors;
    Automation automation;
    std::wstring hostName = L"workshop"; // by which DNS knows the computer

    // The members used most, by a short name.
    DeviceNode& addPort(const std::wstring& portName) { return plugAndPlay.addPort(portName); }
    DeviceNode& addSerialPort(const std::wstring& portName) { return plugAndPlay.addSerialPort(portName); }
    void fail(const std::string& function, int nth, DWORD error) { calls.fail(function, nth, error); }
    Process& hostOf(const DeviceNode& node) { return *processes.find(node.driver.hostProcessId); }

    // What plug and play and the driver do when something has changed. Not for a call's action.
    void announce(WPARAM event, std::optional<DWORD> dataType) const;
    void announce() const;
    // Only sets the device's event: whoever waits for it is not waited for.
    void signal(const DeviceNode& node);

    // For a change while threads of the library run.
    template <class Change>
    void change(Change&& change) {
        const std::lock_guard lock(simulationMutex());
        change();
    }

    // What the library holds: handles, keys, sets, strings and so on. Empty is good.
    std::vector<std::string> held() const;
};

} // namespace zorvan::simulation
