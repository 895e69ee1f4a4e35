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
#include "simulation/kernel_objects.h"
#include "simulation/message_windows.h"
#include "simulation/plug_and_play.h"
#include "simulation/processes.h"
#include "simulation/registry.h"

#include <dbt.h>

#include <map>
#include <set>
#include <string>

namespace zorvan::simulation {

// The names of devices for programs, such as COM5, and what they lead to.
struct DosNames {
    std::map<std::wstring, std::wstring> targets;
};

// The COM port database.
struct PortNumbers {
    std::set<DWORD> claimed;

    // The lowest number that is free, claimed for the caller.
    DWORD claimNextFree();
};

// A file or an end of a pipe that is open.
struct File : Object {
    explicit File(const std::wstring& opened) : Object("file " + describe(opened)), path(opened) {}

    const std::wstring path;
};

// Which files and named pipes there are. Their content is nobody's business here.
struct Files {
    // The paths of what can be opened.
    std::set<std::wstring> existing;

    // What a CreateFile with this disposition does.
    void create(const std::wstring& path, DWORD disposition);
};

// Users who can log on, and as whom the library's threads act.
struct Users {
    struct Account {
        std::wstring domain;
        std::wstring password;
    };
    std::map<std::wstring, Account> accounts; // by login

    // The user of each thread that has a token of its own.
    std::map<DWORD, std::wstring> actingAs;
};

// The modules of the machine, as far as they are not Windows' own.
struct Modules {
    // The path that the library under test is told of itself; the real one when this is empty.
    std::wstring libraryPath;
    // The names by which further libraries can be loaded. Their functions are those that the simulation knows.
    std::set<std::wstring> loadable;
};

// The Driver Install Frameworks, and the system folder that drivers are in.
struct DriverPackages {
    bool restartNeeded = false; // what the next removal of a package says, whatever its result
    std::wstring installer;     // who removes packages, as they are told
    std::wstring systemFolder = L"C:\\windows\\system32";
};

class Machine {
public:
    Machine();
    ~Machine();

    static Machine& current();

    CallLog calls;
    HandleTable handles;
    Processes processes;
    PlugAndPlay plugAndPlay;
    PortNumbers portDatabase;
    Registry registry;
    DosNames dosNames;
    Modules modules;
    DriverPackages driverPackages;
    Threads threads;
    MessageWindows windows;
    Files files;
    Users users;
    std::map<std::string, int> given; // what Windows itself has given to the library and not yet got back, by kind
    Automation automation;
    std::wstring hostName = L"workshop"; // by which DNS knows the computer

    // The members used most, by a short name.
    DeviceNode& addPort(const std::wstring& portName) { return plugAndPlay.addPort(portName); }
    DeviceNode& addSerialPort(const std::wstring& portName) { return plugAndPlay.addSerialPort(portName); }
    void fail(const std::string& function, int nth, DWORD error) { calls.fail(function, nth, error); }
    Process& hostOf(const DeviceNode& node) { return *processes.find(node.driver.hostProcessId); }

    // What plug and play and the driver do when something has changed. Not for a call's action.
    void
    announce(WPARAM event = DBT_DEVICEARRIVAL, std::optional<DWORD> dataType = DBT_DEVTYP_DEVICEINTERFACE) const {
        windows.announce(event, dataType);
    }
    // Only sets the device's event: whoever waits for it is not waited for.
    void signal(const DeviceNode& node);

    // For a change while threads of the library run.
    template <class Change>
    void change(Change&& change) {
        const Guard lock(simulationMutex());
        change();
    }

    // Counts what Windows itself gives or, by -1, gets back.
    void count(const std::string& kind, int change);

    // What the library holds: handles, keys, sets, strings and so on. Empty is good.
    std::vector<std::string> held() const;
};

} // namespace zorvan::simulation
