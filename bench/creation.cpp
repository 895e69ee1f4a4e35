// Creating and deleting a port: the pauses that are intended, the system's part, and the library's own.
#include "sections.h"

#include "imports.h"
#include "pnp/port_database.h"
#include "ports.h"

#include <cfgmgr32.h>
#include <newdev.h>
#include <setupapi.h>

#include <memory>

namespace zorvan::bench {

namespace {

constexpr int kRounds = 5;

// What the calls of this thread have taken.
struct Parts {
    double system = 0;
    double pauses = 0;
};
thread_local Parts parts;

// A function of Windows, with a clock around it.
template <double Parts::*part, class Tag, class Signature>
struct Clocked;

template <double Parts::*part, class Tag, class Result, class... Parameters>
struct Clocked<part, Tag, Result(Parameters...)> {
    static Result call(Parameters... arguments) {
        struct Clock {
            double begun = now();
            ~Clock() { parts.*part += now() - begun; }
        };
        const Clock clock;
        return reinterpret_cast<Result (*)(Parameters...)>(original)(arguments...);
    }
    static inline void* original = nullptr;
};

// The DLL's import table, with clocks in it.
class ClockedImports {
public:
    explicit ClockedImports(HMODULE module) : module_(module) {}

    template <class Clocked>
    void clock(const char* name) {
        imports_.push_back(std::make_unique<ReplacedImport>(module_, name, reinterpret_cast<void*>(&Clocked::call)));
        Clocked::original = imports_.back()->original();
    }

private:
    HMODULE module_;
    std::vector<std::unique_ptr<ReplacedImport>> imports_;
};

#define CLOCK(imports, part, function)                                                                               \
    (imports).clock<Clocked<&Parts::part, struct function##Tag, decltype(function)>>(#function)

// The calls that are made for a port. What is not among them counts as the library's own.
ClockedImports clockImports(HMODULE module) {
    ClockedImports imports(module);
    CLOCK(imports, pauses, Sleep);
    CLOCK(imports, system, CloseHandle);
    CLOCK(imports, system, CM_Get_Device_IDW);
    CLOCK(imports, system, ComDBClose);
    CLOCK(imports, system, ComDBOpen);
    CLOCK(imports, system, CreateEventW);
    CLOCK(imports, system, CreateFileW);
    CLOCK(imports, system, DeviceIoControl);
    CLOCK(imports, system, DiInstallDevice);
    CLOCK(imports, system, DuplicateHandle);
    CLOCK(imports, system, OpenProcess);
    CLOCK(imports, system, RegCloseKey);
    CLOCK(imports, system, RegQueryValueExW);
    CLOCK(imports, system, RegSetValueExW);
    CLOCK(imports, system, SetupDiCallClassInstaller);
    CLOCK(imports, system, SetupDiClassNameFromGuidW);
    CLOCK(imports, system, SetupDiCreateDeviceInfoList);
    CLOCK(imports, system, SetupDiCreateDeviceInfoW);
    CLOCK(imports, system, SetupDiCreateDevRegKeyW);
    CLOCK(imports, system, SetupDiDeleteDeviceInterfaceData);
    CLOCK(imports, system, SetupDiDestroyDeviceInfoList);
    CLOCK(imports, system, SetupDiEnumDeviceInfo);
    CLOCK(imports, system, SetupDiEnumDeviceInterfaces);
    CLOCK(imports, system, SetupDiGetClassDevsExW);
    CLOCK(imports, system, SetupDiGetDeviceInstallParamsW);
    CLOCK(imports, system, SetupDiGetDeviceInterfaceDetailW);
    CLOCK(imports, system, SetupDiOpenDeviceInterfaceW);
    CLOCK(imports, system, SetupDiOpenDevRegKey);
    CLOCK(imports, system, SetupDiSetClassInstallParamsW);
    CLOCK(imports, system, SetupDiSetDeviceRegistryPropertyW);
    return imports;
}

// Milliseconds of each part, run by run.
struct Split {
    std::vector<double> pauses;
    std::vector<double> system;
    std::vector<double> ours;

    template <class Work>
    void take(Work&& work) {
        constexpr double kMilli = 1e3;
        parts = {};
        const double all = secondsOf(work);
        pauses.push_back(kMilli * parts.pauses);
        system.push_back(kMilli * parts.system);
        ours.push_back(kMilli * (all - parts.pauses - parts.system));
    }
};

void reportSplit(Report& report, const std::string& work, const Split& split) {
    report.add({work + ": pauses that are intended", kNoGoal, spreadOf(split.pauses), "ms", ""});
    report.add({work + ": the system's part", kNoGoal, spreadOf(split.system), "ms", ""});
    report.add({work + ": the library's part", atMost(0.2), spreadOf(split.ours), "ms", ""});
}

} // namespace

void measureCreation(Report& report) {
    const auto library = createRegisteredLibrary();
    const auto clocks = clockImports(GetModuleHandleW(L"zorvanlib.dll"));
    Split creation;
    Split deletion;
    for (int round = 0; round < kRounds; ++round) {
        Device device;
        creation.take([&] { require(library->createDevice(VARIANT{}, device.put()), "creating a port"); });
        rest();
        deletion.take([&] { require(device->deleteDevice(), "deleting a port"); });
        rest();
    }
    reportSplit(report, "creating a port", creation);
    reportSplit(report, "deleting a port", deletion);
}

} // namespace zorvan::bench
