#include "port_name.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <system_error>
#include <vector>

// Declared by the driver kit only, whose headers cannot stand beside <windows.h>.
extern "C" {
NTSTATUS NTAPI NtCreateSymbolicLinkObject(HANDLE*, ACCESS_MASK, OBJECT_ATTRIBUTES*, UNICODE_STRING*);
NTSTATUS NTAPI NtOpenSymbolicLinkObject(HANDLE*, ACCESS_MASK, OBJECT_ATTRIBUTES*);
NTSTATUS NTAPI NtMakeTemporaryObject(HANDLE);
}

namespace zorvan::driver {
namespace {

constexpr std::size_t kMaximumLength = 255;
constexpr std::wstring_view kDosDevices = L"\\DosDevices\\";
constexpr wchar_t kSerialPortMap[] = L"HARDWARE\\DEVICEMAP\\SERIALCOMM";

UNICODE_STRING unicodeString(const std::wstring& text) {
    const auto size = static_cast<USHORT>(text.size() * sizeof(wchar_t));
    return {size, size, const_cast<wchar_t*>(text.data())}; // the system does not write through it
}

void throwIfFailed(long error, const char* what) {
    if (error != ERROR_SUCCESS)
        throw std::system_error(static_cast<int>(error), std::system_category(), what);
}

UniqueRegistryKey serialPortMap() {
    UniqueRegistryKey key;
    throwIfFailed(
        RegCreateKeyExW(
            HKEY_LOCAL_MACHINE, kSerialPortMap, 0, nullptr, REG_OPTION_VOLATILE, KEY_SET_VALUE | KEY_QUERY_VALUE,
            nullptr, key.put(), nullptr),
        "RegCreateKeyEx of SERIALCOMM");
    return key;
}

void addToMap(const std::wstring& deviceName, const std::wstring& portName) {
    const auto size = static_cast<DWORD>((portName.size() + 1) * sizeof(wchar_t));
    throwIfFailed(
        RegSetValueExW(
            serialPortMap().get(), deviceName.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(portName.c_str()),
            size),
        "RegSetValueEx in SERIALCOMM");
}

struct MapEntry {
    std::wstring device;
    std::wstring port;
};

std::vector<MapEntry> mapEntries() {
    const auto map = serialPortMap();
    std::vector<MapEntry> entries;
    for (DWORD i = 0;; ++i) {
        wchar_t device[kMaximumLength + 1];
        wchar_t port[kMaximumLength + 1]{};
        auto length = static_cast<DWORD>(std::size(device));
        auto size = static_cast<DWORD>(sizeof port - sizeof *port);
        if (RegEnumValueW(map.get(), i, device, &length, nullptr, nullptr, reinterpret_cast<BYTE*>(port), &size) !=
            ERROR_SUCCESS)
            return entries;
        entries.push_back({device, port});
    }
}

void removeFromMap(const std::wstring& deviceName) noexcept {
    // Nothing can be done about a value that somebody else has removed or protected.
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kSerialPortMap, deviceName.c_str());
}

// Whoever renames a port removes its DOS name first, and somebody else may have taken it since.
void unpublish(const std::wstring& device, DosName& name) noexcept {
    removeFromMap(device);
    if (!name.isTaken(device))
        name.remove();
}

} // namespace

bool isPortName(const std::wstring& text) {
    return !text.empty() && text.size() <= kMaximumLength &&
           std::none_of(text.begin(), text.end(), [](wchar_t unit) { return unit < L' ' || unit == L'\\'; });
}

bool isTaken(const std::wstring& portName, const std::wstring& byDevice) {
    return DosName(portName).isTaken(byDevice);
}

bool sameName(const std::wstring& left, const std::wstring& right) {
    return CompareStringOrdinal(
               left.data(), static_cast<int>(left.size()), right.data(), static_cast<int>(right.size()), TRUE) ==
           CSTR_EQUAL;
}

DosName::DosName(const std::wstring& name) : path_(kDosDevices), unicode_(unicodeString(path_.append(name))) {
    InitializeObjectAttributes(&attributes_, &unicode_, OBJ_CASE_INSENSITIVE | OBJ_PERMANENT, nullptr, nullptr);
}

void DosName::leadTo(const std::wstring& device) {
    auto target = unicodeString(device);
    UniqueHandle link;
    const auto status = NtCreateSymbolicLinkObject(link.put(), STANDARD_RIGHTS_ALL, &attributes_, &target);
    throwIfFailed(static_cast<long>(RtlNtStatusToDosError(status)), "NtCreateSymbolicLinkObject");
}

void DosName::remove() noexcept {
    UniqueHandle link;
    if (NtOpenSymbolicLinkObject(link.put(), DELETE, &attributes_) >= 0)
        NtMakeTemporaryObject(link.get()); // the name goes with the last handle
}

bool DosName::isTaken(const std::wstring& byDevice) const noexcept {
    wchar_t target[MAX_PATH];
    return QueryDosDeviceW(path_.c_str() + kDosDevices.size(), target, MAX_PATH) != 0 && byDevice != target;
}

PublishedPortName::PublishedPortName(const std::wstring& portName, std::wstring deviceName)
    : dosName_(portName), deviceName_(std::move(deviceName)) {
    dosName_.leadTo(deviceName_);
    try {
        addToMap(deviceName_, portName);
    } catch (...) {
        dosName_.remove();
        throw;
    }
}

PublishedPortName::~PublishedPortName() {
    unpublish(deviceName_, dosName_);
}

void removeStaleNames(const std::wstring& devicePrefix) {
    for (const auto& [device, port] : mapEntries())
        if (device.starts_with(devicePrefix)) {
            DosName name(port);
            unpublish(device, name);
        }
}

} // namespace zorvan::driver
