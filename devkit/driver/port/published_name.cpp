#include "published_name.h"

#include "base/unique.h"
#include "windows_error.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace zorvan::engine {
namespace {

constexpr std::size_t kMaximumLength = 255;
constexpr wchar_t kSerialPortMap[] = L"HARDWARE\\DEVICEMAP\\SERIALCOMM";

UniqueRegistryKey serialPortMap() {
    UniqueRegistryKey key;
    devkit::throwIfFailed(
        RegCreateKeyExW(
            HKEY_LOCAL_MACHINE, kSerialPortMap, 0, nullptr, REG_OPTION_VOLATILE, KEY_SET_VALUE | KEY_QUERY_VALUE,
            nullptr, key.put(), nullptr),
        "RegCreateKeyEx of SERIALCOMM");
    return key;
}

void addToMap(const std::wstring& deviceName, const std::wstring& portName) {
    const auto size = static_cast<DWORD>((portName.size() + 1) * sizeof(wchar_t));
    devkit::throwIfFailed(
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

// Whether the system looks the text up as it stands. It drops spaces and dots at the end and takes a slash for a
// separator, and there are characters that no name may have.
bool isFoundAsItIs(const std::wstring& text) {
    const auto isForbidden = [](wchar_t unit) {
        return unit < L' ' || std::wstring_view(L"\\\"*<>?|").find(unit) != std::wstring_view::npos;
    };
    if (std::any_of(text.begin(), text.end(), isForbidden))
        return false;
    const auto path = L"\\\\.\\" + text;
    wchar_t found[kMaximumLength + 8];
    const auto length = GetFullPathNameW(path.c_str(), static_cast<DWORD>(std::size(found)), found, nullptr);
    return length < std::size(found) && path == std::wstring_view(found, length);
}

// Whoever renames a port removes its DOS name first, and somebody else may have taken it since.
void unpublish(const std::wstring& device, const std::wstring& portName, devkit::DosName& dosName) noexcept {
    removeFromMap(device);
    if (!isTaken(portName, device))
        dosName.remove(); // if that fails there is none
}

} // namespace

Status nameStatus(const std::wstring& text, const std::wstring& ofDevice) {
    if (text.empty() || text.size() > kMaximumLength || !isFoundAsItIs(text))
        return Status::ObjectNameInvalid;
    return isTaken(text, ofDevice) ? Status::ObjectNameCollision : Status::Success;
}

bool isTaken(const std::wstring& portName, const std::wstring& byDevice) noexcept {
    wchar_t target[MAX_PATH];
    return QueryDosDeviceW(portName.c_str(), target, MAX_PATH) != 0 && byDevice != target;
}

bool sameName(const std::wstring& left, const std::wstring& right) {
    return CompareStringOrdinal(
               left.data(), static_cast<int>(left.size()), right.data(), static_cast<int>(right.size()), TRUE) ==
           CSTR_EQUAL;
}

PublishedPortName::PublishedPortName(const std::wstring& portName, std::wstring deviceName)
    : dosName_(portName), portName_(portName), deviceName_(std::move(deviceName)) {
    devkit::throwIfFailed(
        static_cast<long>(RtlNtStatusToDosError(dosName_.pointTo(deviceName_))), "making a DOS name");
    try {
        addToMap(deviceName_, portName_);
    } catch (...) {
        dosName_.remove();
        throw;
    }
}

PublishedPortName::~PublishedPortName() {
    unpublish(deviceName_, portName_, dosName_);
}

void removeStaleNames(const std::wstring& devicePrefix) {
    for (const auto& [device, port] : mapEntries())
        if (device.starts_with(devicePrefix)) {
            devkit::DosName dosName(port);
            unpublish(device, port, dosName);
        }
}

} // namespace zorvan::engine
