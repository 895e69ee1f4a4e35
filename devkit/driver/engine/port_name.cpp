#include "port_name.h"

#include "base/unique.h"

#include <winternl.h>

#include <algorithm>
#include <system_error>

// Declared by the driver kit only, whose headers cannot stand beside <windows.h>.
extern "C" {
NTSTATUS NTAPI NtCreateSymbolicLinkObject(HANDLE*, ACCESS_MASK, OBJECT_ATTRIBUTES*, UNICODE_STRING*);
NTSTATUS NTAPI NtOpenSymbolicLinkObject(HANDLE*, ACCESS_MASK, OBJECT_ATTRIBUTES*);
NTSTATUS NTAPI NtMakeTemporaryObject(HANDLE);
}

namespace zorvan::driver {
namespace {

constexpr std::size_t kMaximumLength = 255;
constexpr wchar_t kSerialPortMap[] = L"HARDWARE\\DEVICEMAP\\SERIALCOMM";

UNICODE_STRING unicodeString(std::wstring& text) {
    const auto size = static_cast<USHORT>(text.size() * sizeof(wchar_t));
    return {size, size, text.data()};
}

// The link's path and the attributes that refer to it. DefineDosDevice is not used: Wine's copies the name into a
// buffer that is made for drive letters.
class LinkName {
public:
    explicit LinkName(const std::wstring& portName) : path_(L"\\DosDevices\\" + portName), name_(unicodeString(path_)) {
        InitializeObjectAttributes(&attributes_, &name_, OBJ_CASE_INSENSITIVE | OBJ_PERMANENT, nullptr, nullptr);
    }
    LinkName(const LinkName&) = delete;
    LinkName& operator=(const LinkName&) = delete;

    OBJECT_ATTRIBUTES* attributes() { return &attributes_; }

private:
    std::wstring path_;
    UNICODE_STRING name_;
    OBJECT_ATTRIBUTES attributes_{};
};

void throwIfFailed(long error, const char* what) {
    if (error != ERROR_SUCCESS)
        throw std::system_error(static_cast<int>(error), std::system_category(), what);
}

void createLink(const std::wstring& portName, std::wstring target) {
    LinkName link(portName);
    auto targetName = unicodeString(target);
    UniqueHandle object;
    const auto status =
        NtCreateSymbolicLinkObject(object.put(), STANDARD_RIGHTS_ALL, link.attributes(), &targetName);
    throwIfFailed(static_cast<long>(RtlNtStatusToDosError(status)), "NtCreateSymbolicLinkObject");
}

void removeLink(const std::wstring& portName) {
    LinkName link(portName);
    UniqueHandle object;
    if (NtOpenSymbolicLinkObject(object.put(), DELETE, link.attributes()) >= 0)
        NtMakeTemporaryObject(object.get()); // the name goes with the last handle
}

// Empty: there is no such name.
std::wstring linkTarget(const std::wstring& portName) {
    wchar_t target[MAX_PATH];
    return QueryDosDeviceW(portName.c_str(), target, MAX_PATH) != 0 ? target : std::wstring();
}

UniqueRegistryKey serialPortMap() {
    UniqueRegistryKey key;
    throwIfFailed(
        RegCreateKeyExW(
            HKEY_LOCAL_MACHINE, kSerialPortMap, 0, nullptr, REG_OPTION_VOLATILE, KEY_SET_VALUE, nullptr, key.put(),
            nullptr),
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

void removeFromMap(const std::wstring& deviceName) noexcept {
    // Nothing can be done about a value that somebody else has removed or protected.
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kSerialPortMap, deviceName.c_str());
}

} // namespace

bool isPortName(const std::wstring& text) {
    return !text.empty() && text.size() <= kMaximumLength &&
           std::none_of(text.begin(), text.end(), [](wchar_t unit) { return unit < L' ' || unit == L'\\'; });
}

bool isTaken(const std::wstring& portName, const std::wstring& byDevice) {
    const auto target = linkTarget(portName);
    return !target.empty() && target != byDevice;
}

bool sameName(const std::wstring& left, const std::wstring& right) {
    return CompareStringOrdinal(
               left.data(), static_cast<int>(left.size()), right.data(), static_cast<int>(right.size()), TRUE) ==
           CSTR_EQUAL;
}

PublishedPortName::PublishedPortName(std::wstring portName, std::wstring deviceName)
    : portName_(std::move(portName)), deviceName_(std::move(deviceName)) {
    createLink(portName_, deviceName_);
    try {
        addToMap(deviceName_, portName_);
    } catch (...) {
        removeLink(portName_);
        throw;
    }
}

PublishedPortName::~PublishedPortName() {
    removeFromMap(deviceName_);
    // Whoever renames a port removes its DOS name first, and somebody else may have taken it since.
    if (linkTarget(portName_) == deviceName_)
        removeLink(portName_);
}

} // namespace zorvan::driver
