#include "system_view.h"

#include "base/unique.h"
#include "pnp/device_classes.h"
#include "pnp/device_information_set.h"
#include "pnp/port_name.h"

#include <stdexcept>
#include <vector>

namespace zorvan::test {

namespace {

constexpr DWORD kTextLength = 256;

std::wstring friendlyNameOf(HDEVINFO set, SP_DEVINFO_DATA& device) {
    wchar_t name[kTextLength] = L"";
    SetupDiGetDeviceRegistryPropertyW(
        set, &device, SPDRP_FRIENDLYNAME, nullptr, reinterpret_cast<BYTE*>(name), sizeof name - sizeof(wchar_t),
        nullptr);
    return name;
}

UniqueRegistryKey openKey(const wchar_t* path) {
    UniqueRegistryKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, key.put()) != ERROR_SUCCESS)
        throw std::runtime_error("a key of the system does not open");
    return key;
}

} // namespace

std::map<std::wstring, std::wstring> presentSerialPorts() {
    const auto set = pnp::presentDevices(pnp::kSerialPortInterface);
    std::map<std::wstring, std::wstring> ports;
    pnp::forEachDevice(set, [&](SP_DEVINFO_DATA& device) {
        const auto key = pnp::openHardwareKey(set.get(), device, KEY_READ);
        ports[pnp::readPortName(key.get())] = friendlyNameOf(set.get(), device);
    });
    return ports;
}

std::set<std::wstring> serialPortMap() {
    const auto key = openKey(L"HARDWARE\\DEVICEMAP\\SERIALCOMM");
    std::set<std::wstring> names;
    for (DWORD i = 0;; ++i) {
        wchar_t device[kTextLength];
        wchar_t name[kTextLength] = L"";
        DWORD length = kTextLength;
        DWORD size = sizeof name - sizeof(wchar_t);
        if (RegEnumValueW(key.get(), i, device, &length, nullptr, nullptr, reinterpret_cast<BYTE*>(name), &size) !=
            ERROR_SUCCESS)
            return names;
        names.insert(name);
    }
}

bool isDosName(const std::wstring& name) {
    wchar_t target[kTextLength];
    return QueryDosDeviceW(name.c_str(), target, kTextLength) != 0;
}

bool isReserved(unsigned number) {
    // One bit for each number, beginning with 1.
    std::vector<BYTE> bits(4096);
    auto size = static_cast<DWORD>(bits.size());
    const auto key = openKey(L"SYSTEM\\CurrentControlSet\\Control\\COM Name Arbiter");
    if (RegGetValueW(key.get(), nullptr, L"ComDB", RRF_RT_REG_BINARY, nullptr, bits.data(), &size) != ERROR_SUCCESS)
        throw std::runtime_error("the port database cannot be read");
    const unsigned bit = number - 1;
    return bit / 8 < size && (bits[bit / 8] >> bit % 8 & 1) != 0;
}

} // namespace zorvan::test
