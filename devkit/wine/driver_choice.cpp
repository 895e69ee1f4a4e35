#include "driver_choice.h"

#include "base/slim_lock.h"

#include <cwchar>
#include <mutex>

namespace zorvan::devkit {

namespace {

struct KnownDriver {
    std::wstring kind;
    ULONGLONG storeTime = 0;
    std::wstring inf;
};

SlimLock lastLock;
KnownDriver lastInstalled;

std::wstring hardwareIds(HDEVINFO set, PSP_DEVINFO_DATA device) {
    wchar_t ids[512];
    DWORD size = 0;
    if (!SetupDiGetDeviceRegistryPropertyW(
            set, device, SPDRP_HARDWAREID, nullptr, reinterpret_cast<BYTE*>(ids), sizeof ids, &size))
        return {};
    return {ids, size / sizeof *ids};
}

// 0 when the system does not tell.
ULONGLONG driverStoreTime() {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    GetFileAttributesExW(L"C:\\windows\\inf", GetFileExInfoStandard, &data);
    return ULARGE_INTEGER{{data.ftLastWriteTime.dwLowDateTime, data.ftLastWriteTime.dwHighDateTime}}.QuadPart;
}

std::wstring selectedInf(HDEVINFO set, PSP_DEVINFO_DATA device) {
    SP_DRVINFO_DATA_W driver{};
    driver.cbSize = sizeof driver;
    SP_DRVINFO_DETAIL_DATA_W detail{};
    detail.cbSize = sizeof detail;
    if (!SetupDiGetSelectedDriverW(set, device, &driver))
        return {};
    // Too small for the hardware IDs, which come last.
    SetupDiGetDriverInfoDetailW(set, device, &driver, &detail, sizeof detail, nullptr);
    return detail.InfFileName;
}

} // namespace

DriverChoice::DriverChoice(HDEVINFO set, PSP_DEVINFO_DATA device)
    : set_(set), device_(device), kind_(hardwareIds(set, device)), storeTime_(driverStoreTime()) {}

bool DriverChoice::narrowDown() {
    SP_DEVINSTALL_PARAMS_W params{};
    params.cbSize = sizeof params;
    if (!SetupDiGetDeviceInstallParamsW(set_, device_, &params))
        return false;
    if (params.DriverPath[0] != L'\0') // the caller has chosen
        kind_.clear();
    if (kind_.empty())
        return true;
    {
        const std::lock_guard lock(lastLock);
        if (lastInstalled.inf.empty() || lastInstalled.kind != kind_ || lastInstalled.storeTime != storeTime_)
            return true;
        lastInstalled.inf.copy(params.DriverPath, MAX_PATH - 1); // zeros follow
    }
    params.Flags |= DI_ENUMSINGLEINF | DI_NOFILECOPY;
    return SetupDiSetDeviceInstallParamsW(set_, device_, &params);
}

bool DriverChoice::buildList() {
    return narrowDown() && SetupDiBuildDriverInfoList(set_, device_, SPDIT_COMPATDRIVER);
}

void DriverChoice::remember() const {
    auto inf = selectedInf(set_, device_);
    const std::lock_guard lock(lastLock);
    lastInstalled = {kind_, storeTime_, std::move(inf)};
}

} // namespace zorvan::devkit
