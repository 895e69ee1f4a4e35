#include "pnp/removal.h"

#include "base/hresult_error.h"
#include "pnp/device_information_set.h"

namespace zorvan::pnp {

namespace {

// A device interface that is open in a set.
class OpenInterface {
public:
    OpenInterface(HDEVINFO set, const std::wstring& path) : set_(set) {
        data_.cbSize = sizeof data_;
        if (SetupDiOpenDeviceInterfaceW(set_, path.c_str(), 0, &data_) == FALSE)
            throwLastError();
    }
    OpenInterface(const OpenInterface&) = delete;
    OpenInterface& operator=(const OpenInterface&) = delete;
    ~OpenInterface() {
        const DWORD lastError = GetLastError();
        SetupDiDeleteDeviceInterfaceData(set_, &data_);
        SetLastError(lastError);
    }

private:
    HDEVINFO set_;
    SP_DEVICE_INTERFACE_DATA data_{};
};

SP_DEVINFO_DATA firstDevice(HDEVINFO set) {
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    if (SetupDiEnumDeviceInfo(set, 0, &device) == FALSE)
        throwLastError();
    return device;
}

void callRemoval(HDEVINFO set, SP_DEVINFO_DATA& device) {
    SP_REMOVEDEVICE_PARAMS parameters{};
    parameters.ClassInstallHeader.cbSize = sizeof parameters.ClassInstallHeader;
    parameters.ClassInstallHeader.InstallFunction = DIF_REMOVE;
    parameters.Scope = DI_REMOVEDEVICE_GLOBAL;
    const BOOL removed =
        SetupDiSetClassInstallParamsW(set, &device, &parameters.ClassInstallHeader, sizeof parameters) != FALSE &&
        SetupDiCallClassInstaller(DIF_REMOVE, set, &device) != FALSE;
    if (!removed)
        throwLastError();
}

} // namespace

// The clean-up leaves the error of the step that failed as it is: the guards see to that.
HRESULT removeDeviceNode(const std::wstring& controlPath) {
    const DeviceInformationSet set(SetupDiCreateDeviceInfoList(nullptr, nullptr));
    if (!set)
        throwLastError();
    const OpenInterface open(set.get(), controlPath);
    auto device = firstDevice(set.get());
    callRemoval(set.get(), device);
    DWORD flags = 0;
    return readInstallFlags(set.get(), device, flags) && askForRestart(flags) ? S_FALSE : S_OK;
}

} // namespace zorvan::pnp
