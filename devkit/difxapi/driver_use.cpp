#include "driver_use.h"

#include "base/unique.h"
#include "pnp/device_information_set.h"
#include "windows_error.h"

#include <algorithm>

namespace zorvan::devkit::driverUse {

namespace {

constexpr DWORD kPatience = 10000; // milliseconds
constexpr DWORD kInterval = 20;    // milliseconds

using UniqueService = Unique<CloseServiceHandle>;

// Empty for a device without one.
std::wstring serviceOf(HDEVINFO set, SP_DEVINFO_DATA& device) {
    wchar_t name[256] = L"";
    SetupDiGetDeviceRegistryPropertyW(
        set, &device, SPDRP_SERVICE, nullptr, reinterpret_cast<BYTE*>(name), sizeof name - sizeof(wchar_t), nullptr);
    return name;
}

bool isOneOf(const std::vector<std::wstring>& names, const std::wstring& name) {
    return std::any_of(names.begin(), names.end(), [&](const std::wstring& one) {
        return CompareStringOrdinal(one.c_str(), -1, name.c_str(), -1, TRUE) == CSTR_EQUAL;
    });
}

template <class Condition>
bool comesTrue(DWORD patience, Condition condition) {
    const ULONGLONG deadline = GetTickCount64() + patience;
    while (!condition()) {
        if (GetTickCount64() > deadline)
            return false;
        Sleep(kInterval);
    }
    return true;
}

bool isStopped(SC_HANDLE service) {
    SERVICE_STATUS status{};
    return QueryServiceStatus(service, &status) && status.dwCurrentState == SERVICE_STOPPED;
}

// A driver stops when it likes; one that does not in time is stopped by the next restart.
bool stop(SC_HANDLE service) {
    SERVICE_STATUS status{};
    ControlService(service, SERVICE_CONTROL_STOP, &status); // fails for one that does not run
    return comesTrue(kPatience, [&] { return isStopped(service); });
}

// Returns whether it is over and done with.
bool removeService(SC_HANDLE manager, const std::wstring& name) {
    const UniqueService service(OpenServiceW(manager, name.c_str(), DELETE | SERVICE_STOP | SERVICE_QUERY_STATUS));
    if (!service) {
        if (GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST)
            return true;
        throwLastError("OpenService");
    }
    const bool stopped = stop(service.get());
    if (!DeleteService(service.get()) && GetLastError() != ERROR_SERVICE_MARKED_FOR_DELETE)
        throwLastError("DeleteService");
    return stopped;
}

// Returns whether it is gone. One that is in use goes with the next restart.
bool removeFile(const std::wstring& path, DWORD patience) {
    if (comesTrue(patience, [&] { return DeleteFileW(path.c_str()) || GetLastError() == ERROR_FILE_NOT_FOUND; }))
        return true;
    if (!MoveFileExW(path.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT))
        throwLastError("MoveFileEx");
    return false;
}

} // namespace

bool hasDevices(const DriverPackage& package) {
    const pnp::DeviceInformationSet set(SetupDiGetClassDevsW(nullptr, nullptr, nullptr, DIGCF_ALLCLASSES));
    if (!set)
        throwLastError("SetupDiGetClassDevs");
    bool found = false;
    pnp::forEachDevice(set, [&](SP_DEVINFO_DATA& device) {
        found = found || isOneOf(package.services, serviceOf(set.get(), device));
    });
    return found;
}

bool remove(const DriverPackage& package) {
    const UniqueService manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!manager)
        throwLastError("OpenSCManager");
    bool restartNeeded = false;
    for (const std::wstring& service : package.services)
        restartNeeded |= !removeService(manager.get(), service);
    // A service that has stopped has its files open until its process has ended.
    for (const std::wstring& file : package.installedFiles)
        restartNeeded |= !removeFile(file, restartNeeded ? 0 : kPatience);
    return restartNeeded;
}

} // namespace zorvan::devkit::driverUse
