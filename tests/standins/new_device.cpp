#include "new_device.h"

#include "base/guid.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace zorvan::test {

namespace {

constexpr GUID kPortsClass = parseGuid("{4D36E978-E325-11CE-BFC1-08002BE10318}");

} // namespace

NewDevice::NewDevice(const std::wstring& hardwareId) : set_(SetupDiCreateDeviceInfoList(&kPortsClass, nullptr)) {
    element_.cbSize = sizeof element_;
    const std::wstring list = hardwareId + L'\0'; // with the terminator, the end of the list
    const auto* const bytes = reinterpret_cast<const BYTE*>(list.c_str());
    const auto size = static_cast<DWORD>((list.size() + 1) * sizeof(wchar_t));
    if (!SetupDiCreateDeviceInfoW(set(), L"Ports", &kPortsClass, nullptr, nullptr, DICD_GENERATE_ID, &element_) ||
        !SetupDiSetDeviceRegistryPropertyW(set(), &element_, SPDRP_HARDWAREID, bytes, size) ||
        !SetupDiCallClassInstaller(DIF_REGISTERDEVICE, set(), &element_))
        throw std::runtime_error("a device cannot be registered: error " + std::to_string(GetLastError()));
}

NewDevice::~NewDevice() {
    if (exists())
        remove();
}

UniqueRegistryKey NewDevice::key() {
    const HKEY key = SetupDiCreateDevRegKeyW(set(), &element_, DICS_FLAG_GLOBAL, 0, DIREG_DEV, nullptr, nullptr);
    return UniqueRegistryKey(key == INVALID_HANDLE_VALUE ? nullptr : key);
}

std::wstring NewDevice::friendlyName() {
    wchar_t name[MAX_PATH] = {};
    SetupDiGetDeviceRegistryPropertyW(
        set(), &element_, SPDRP_FRIENDLYNAME, nullptr, reinterpret_cast<BYTE*>(name), sizeof name, nullptr);
    return name;
}

std::wstring NewDevice::portName() {
    wchar_t name[MAX_PATH] = {};
    DWORD size = sizeof name;
    RegGetValueW(key().get(), nullptr, L"PortName", RRF_RT_REG_SZ, nullptr, name, &size);
    return name;
}

void NewDevice::setPortName(const std::wstring& name) {
    const auto* const bytes = reinterpret_cast<const BYTE*>(name.c_str());
    const auto size = static_cast<DWORD>((name.size() + 1) * sizeof(wchar_t));
    EXPECT_EQ(RegSetValueExW(key().get(), L"PortName", 0, REG_SZ, bytes, size), ERROR_SUCCESS);
}

bool NewDevice::exists() {
    wchar_t id[MAX_PATH] = {};
    SetupDiGetDeviceInstanceIdW(set(), &element_, id, MAX_PATH, nullptr);
    const UniqueDeviceSet found(SetupDiCreateDeviceInfoList(nullptr, nullptr));
    return id[0] != 0 && SetupDiOpenDeviceInfoW(found.get(), id, nullptr, 0, nullptr);
}

} // namespace zorvan::test
