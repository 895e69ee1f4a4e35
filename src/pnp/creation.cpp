#include "pnp/creation.h"

#include "base/hresult_error.h"
#include "pnp/device_classes.h"
#include "pnp/device_information_set.h"
#include "pnp/port_database.h"
#include "pnp/port_name.h"

#include <newdev.h>

namespace zorvan::pnp {

namespace {

// With the list's closing NUL behind the text's own.
constexpr wchar_t kHardwareIds[] = L"QELTRAVIRT\\QeltraZorvan3\0";

constexpr DWORD kClassNameSize = 32;
constexpr DWORD kShowSearchUi = 1; // DIIDFLAG_SHOWSEARCHUI

// A device node that is being made.
class NewDeviceNode {
public:
    NewDeviceNode() : set_(SetupDiCreateDeviceInfoList(&kPortsClass, nullptr)) {
        if (!set_)
            throwLastError();
        device_.cbSize = sizeof device_;
    }

    void registerNode() {
        if (!createElement() || !setHardwareId() ||
            SetupDiCallClassInstaller(DIF_REGISTERDEVICE, set_.get(), &device_) == FALSE)
            throwLastError();
    }

    // Without a `PortName` the class installer chooses one: that is no reason to give up.
    void writeName(std::uint32_t number) {
        const HKEY key =
            SetupDiCreateDevRegKeyW(set_.get(), &device_, DICS_FLAG_GLOBAL, 0, DIREG_DEV, nullptr, nullptr);
        if (key == INVALID_HANDLE_VALUE)
            return;
        const UniqueRegistryKey owned(key);
        writePortName(owned.get(), portName(number));
    }

    bool install(bool& rebootNeeded) {
        BOOL reboot = FALSE;
        const BOOL installed = DiInstallDevice(nullptr, set_.get(), &device_, nullptr, kShowSearchUi, &reboot);
        rebootNeeded = reboot != FALSE;
        return installed != FALSE;
    }

    // Oddity 4 of docs/architecture.md.
    bool restartNeeded() {
        DWORD flags = 0;
        readInstallFlags(set_.get(), device_, flags);
        return askForRestart(flags);
    }

    std::wstring instanceId() const { return deviceInstanceId(device_); }

private:
    bool createElement() {
        wchar_t className[kClassNameSize]{};
        // A failure leaves the name empty, which the next call then refuses.
        SetupDiClassNameFromGuidW(&kPortsClass, className, kClassNameSize, nullptr);
        return SetupDiCreateDeviceInfoW(
                   set_.get(), className, &kPortsClass, nullptr, nullptr, DICD_GENERATE_ID, &device_) != FALSE;
    }

    bool setHardwareId() {
        return SetupDiSetDeviceRegistryPropertyW(
                   set_.get(), &device_, SPDRP_HARDWAREID, reinterpret_cast<const BYTE*>(kHardwareIds),
                   sizeof kHardwareIds) != FALSE;
    }

    DeviceInformationSet set_;
    SP_DEVINFO_DATA device_{};
};

std::wstring installNewNode(std::uint32_t portNumber) {
    PortDatabase database;
    database.open();
    if (!database)
        throw HResultError(E_FAIL);
    NewDeviceNode node;
    node.registerNode();
    if (portNumber != 0) {
        database.claim(portNumber);
        node.writeName(portNumber);
    }

    bool rebootNeeded = false;
    const bool installed = node.install(rebootNeeded);
    if (rebootNeeded)
        throw HResultError(kRestartNeeded);
    if (!installed) {
        // Oddities 3 and 23 of docs/architecture.md.
        if (portNumber != 0)
            database.release(portNumber);
        throwLastError();
    }
    if (node.restartNeeded())
        throw HResultError(kRestartNeeded);
    return node.instanceId();
}

} // namespace

std::wstring createDeviceNode(std::uint32_t portNumber) {
    try {
        return installNewNode(portNumber);
    } catch (const HResultError& error) {
        throwIfFailed(error.code());
        return {};
    }
}

} // namespace zorvan::pnp
