// Stands in for the Ports class installer of Windows's msports.dll, which Wine 8 only names: setupapi calls it for
// each device of the class, once the class's key names it (Installer32 = "msports.dll,PortsClassInstaller").
//
// It gives a new port its number, its PortName and what people know it by, and takes the number back when the port
// is removed. The default actions are called from here, because only then is it known whether they succeeded.
#include "base/unique.h"
#include "device_tree.h"
#include "msports.h"
#include "pnp/device_classes.h"
#include "pnp/device_information_set.h"
#include "pnp/port_name.h"

#include <cfgmgr32.h>

#include <cwchar>
#include <new>
#include <string>

namespace {

namespace pnp = zorvan::pnp;
using zorvan::UniqueRegistryKey;
using zorvan::devkit::DeviceTreeLock;

constexpr wchar_t kPortName[] = L"PortName";

using UniqueComDatabase = zorvan::Unique<ComDBClose, -1>;

// How many devices of the class have the number, present or not.
unsigned devicesWith(DWORD number) {
    const pnp::DeviceInformationSet set(SetupDiGetClassDevsW(&pnp::kPortsClass, nullptr, nullptr, 0));
    unsigned count = 0;
    pnp::forEachDevice(set, [&](SP_DEVINFO_DATA& device) {
        const auto key = pnp::openHardwareKey(set.get(), device, KEY_READ);
        if (key && pnp::portNumber(pnp::readPortName(key.get())) == number)
            ++count;
    });
    return count;
}

// A number that a device has and the database has lost is the device's again from here on.
LONG claimNextFree(DWORD& number) {
    UniqueComDatabase database;
    LONG status = ComDBOpen(database.put());
    if (status != ERROR_SUCCESS)
        return status;
    do
        status = ComDBClaimNextFreePort(database.get(), &number);
    while (status == ERROR_SUCCESS && devicesWith(number) != 0);
    return status;
}

// A number that cannot be given back stays in use, which keeps no port from working. The database refuses what is
// none.
void release(DWORD number) {
    UniqueComDatabase database;
    if (ComDBOpen(database.put()) == ERROR_SUCCESS)
        ComDBReleasePort(database.get(), number);
}

// A number that was given back too soon. Somebody else may have it by now.
void claim(DWORD number) {
    UniqueComDatabase database;
    if (ComDBOpen(database.put()) == ERROR_SUCCESS)
        ComDBClaimPort(database.get(), number, FALSE, nullptr);
}

// A failure that left no error must not pass for success.
DWORD lastError() {
    const DWORD error = GetLastError();
    return error == NO_ERROR ? ERROR_GEN_FAILURE : error;
}

// A device has a hardware key from its first installation on.
UniqueRegistryKey openHardwareKey(HDEVINFO set, PSP_DEVINFO_DATA device) {
    const HKEY key = SetupDiCreateDevRegKeyW(set, device, DICS_FLAG_GLOBAL, 0, DIREG_DEV, nullptr, nullptr);
    return UniqueRegistryKey(key == INVALID_HANDLE_VALUE ? nullptr : key);
}

// The name that the device has or, if it has none, a new one. What was claimed for it goes back unless kept.
class PortNameClaim {
public:
    explicit PortNameClaim(HKEY key) : key_(key), name_(pnp::readPortName(key)) {
        if (!name_.empty())
            return;
        status_ = claimNextFree(claimed_);
        if (status_ != ERROR_SUCCESS)
            return;
        name_ = pnp::portName(claimed_);
        status_ = pnp::writePortName(key_, name_);
    }
    ~PortNameClaim() {
        if (claimed_ == 0)
            return;
        RegDeleteValueW(key_, kPortName);
        release(claimed_);
    }
    PortNameClaim(const PortNameClaim&) = delete;
    PortNameClaim& operator=(const PortNameClaim&) = delete;

    LONG status() const { return status_; }
    const std::wstring& name() const { return name_; }
    void keep() { claimed_ = 0; }

private:
    HKEY key_;
    std::wstring name_;
    DWORD claimed_ = 0;
    LONG status_ = ERROR_SUCCESS;
};

bool setText(HDEVINFO set, PSP_DEVINFO_DATA device, DWORD property, const std::wstring& text) {
    return SetupDiSetDeviceRegistryPropertyW(
        set, device, property, reinterpret_cast<const BYTE*>(text.c_str()),
        static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

// Which one of the ports of its kind it is, whatever it is called: in the form in which Windows names the place of a
// device on its bus.
bool setLocation(HDEVINFO set, PSP_DEVINFO_DATA device) {
    wchar_t id[MAX_DEVICE_ID_LEN];
    if (!SetupDiGetDeviceInstanceIdW(set, device, id, MAX_DEVICE_ID_LEN, nullptr))
        return false;
    const wchar_t* const backslash = std::wcsrchr(id, L'\\');
    return backslash != nullptr &&
           setText(set, device, SPDRP_LOCATION_INFORMATION, std::wstring(L"Port_#") + (backslash + 1));
}

// What programs list a port by. Windows takes the manufacturer from the INF, Wine does not; there are programs that
// do not survive a port without one. The description becomes a property of the device only by the default action.
bool describe(HDEVINFO set, PSP_DEVINFO_DATA device, const std::wstring& portName) {
    SP_DRVINFO_DATA_W driver{};
    driver.cbSize = sizeof driver;
    if (!SetupDiGetSelectedDriverW(set, device, &driver))
        return false;
    return setText(set, device, SPDRP_FRIENDLYNAME, std::wstring(driver.Description) + L" (" + portName + L")") &&
           setText(set, device, SPDRP_MFG, driver.MfgName) && setLocation(set, device);
}

// Wine's removal frees the instance ID before the driver's process lets go of the device; a device that is installed
// under the same ID in between would be taken for the old one and never start. Hence the locks below.

// All of it has to be there before the default action, because that starts the driver, which reads the name, and
// announces the port.
DWORD installPort(HDEVINFO set, PSP_DEVINFO_DATA device) {
    const DeviceTreeLock lock;
    const UniqueRegistryKey key = openHardwareKey(set, device);
    if (!key)
        return lastError();
    PortNameClaim claim(key.get());
    if (claim.status() != ERROR_SUCCESS)
        return static_cast<DWORD>(claim.status());
    if (!describe(set, device, claim.name()) || !SetupDiInstallDevice(set, device))
        return lastError();
    claim.keep();
    return NO_ERROR;
}

// The number goes back first: a removal takes its time, and the client may be ended in it. Nobody else gets the
// number before the driver has let go of the name, as no number is given out whose name opens something. A port may
// be called anything: its number is what whoever claims one for a name takes it for.
DWORD removePort(HDEVINFO set, PSP_DEVINFO_DATA device) {
    const DeviceTreeLock lock;
    UniqueRegistryKey key = openHardwareKey(set, device);
    const DWORD number = key ? pnp::portNumber(pnp::readPortName(key.get())) : 0;
    key.reset();
    if (devicesWith(number) == 1)
        release(number);
    if (SetupDiRemoveDevice(set, device))
        return NO_ERROR;
    const DWORD error = lastError();
    claim(number);
    return error;
}

} // namespace

DWORD WINAPI PortsClassInstaller(DI_FUNCTION function, HDEVINFO set, PSP_DEVINFO_DATA device) {
    try {
        switch (function) {
        case DIF_INSTALLDEVICE:
            return installPort(set, device);
        case DIF_REMOVE:
            return removePort(set, device);
        default:
            return ERROR_DI_DO_DEFAULT;
        }
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}
