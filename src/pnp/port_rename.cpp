#include "pnp/port_rename.h"

#include "base/hresult_error.h"
#include "pnp/device_classes.h"
#include "pnp/port_name.h"
#include "pnp/used_port_numbers.h"

#include <array>

namespace zorvan::pnp {

namespace {

constexpr DWORD kFriendlyNameSize = 520;
constexpr DWORD kDosDeviceLength = 259;

DeviceInformationSet presentControlDevices() {
    return DeviceInformationSet(
        SetupDiGetClassDevsW(&kControlInterface, nullptr, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE));
}

void moveReservation(const PortDatabase& database, const std::wstring& from, const std::wstring& to) {
    if (!database)
        return;
    database.release(portNumber(from));
    database.claim(portNumber(to));
}

void refuseUsedNumber(const std::wstring& name) {
    if (isUsed(listUsedPortNumbers(), portNumber(name)))
        throw HResultError(E_FAIL);
}

// Replaces every occurrence, from left to right; what was put in is not searched again. Whether there was one. An
// empty text occurs nowhere.
bool replaceAll(std::wstring& text, const std::wstring& from, const std::wstring& to) {
    if (from.empty())
        return false;
    bool replaced = false;
    for (auto position = text.find(from); position != std::wstring::npos;
         position = text.find(from, position + to.size())) {
        text.replace(position, from.size(), to);
        replaced = true;
    }
    return replaced;
}

} // namespace

PortRename::PortRename(std::wstring oldName, std::wstring newName)
    : oldName_(std::move(oldName)), newName_(std::move(newName)), set_(presentControlDevices()) {
    refuseUsedNumber(newName_);
    database_.open();
    findDevice();
}

void PortRename::findDevice() {
    device_.cbSize = sizeof device_;
    for (DWORD index = 0; set_ && SetupDiEnumDeviceInfo(set_.get(), index, &device_) != FALSE; ++index) {
        key_ = openHardwareKey(set_.get(), device_, kReadAndWrite);
        if (key_ && readPortName(key_.get()) == oldName_)
            return;
        key_.reset();
    }
}

void PortRename::claimNewNumber() const {
    moveReservation(database_, oldName_, newName_);
}

void PortRename::removeOldDosName() const {
    wchar_t target[kDosDeviceLength];
    if (QueryDosDeviceW(oldName_.c_str(), target, kDosDeviceLength) == 0)
        return;
    // A name that cannot be removed leads to the same port until the driver takes it back.
    DefineDosDeviceW(DDD_REMOVE_DEFINITION, oldName_.c_str(), nullptr);
}

void PortRename::writeName() {
    // Oddity 6 of docs/architecture.md.
    if (writePortName(key_.get(), newName_) >= 0)
        return;
    closeKey();
    moveReservation(database_, newName_, oldName_);
    throw HResultError(E_FAIL);
}

bool PortRename::renameFriendly() {
    std::array<wchar_t, kFriendlyNameSize / sizeof(wchar_t) + 1> text{};
    auto* bytes = reinterpret_cast<BYTE*>(text.data());
    if (SetupDiGetDeviceRegistryPropertyW(
            set_.get(), &device_, SPDRP_FRIENDLYNAME, nullptr, bytes, kFriendlyNameSize, nullptr) == FALSE)
        return false;

    std::wstring friendlyName = text.data();
    if (!replaceAll(friendlyName, oldName_, newName_))
        return false;
    // Oddity 21 of docs/architecture.md.
    const auto size = static_cast<DWORD>(friendlyName.size() * sizeof(wchar_t));
    return SetupDiSetDeviceRegistryPropertyW(
               set_.get(), &device_, SPDRP_FRIENDLYNAME, reinterpret_cast<const BYTE*>(friendlyName.data()), size) !=
           FALSE;
}

} // namespace zorvan::pnp
