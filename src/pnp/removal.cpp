#include "pnp/removal.h"

#include "base/hresult_error.h"
#include "pnp/device_information_set.h"

namespace zorvan::pnp {

namespace {

// A device interface in a set, once it has been opened there.
class InterfaceElement {
public:
    explicit InterfaceElement(HDEVINFO set) : set_(set) { data_.cbSize = sizeof data_; }
    InterfaceElement(const InterfaceElement&) = delete;
    InterfaceElement& operator=(const InterfaceElement&) = delete;
    ~InterfaceElement() {
        const DWORD lastError = GetLastError();
        remove();
        SetLastError(lastError);
    }

    bool open(const std::wstring& path) {
        isOpen_ = SetupDiOpenDeviceInterfaceW(set_, path.c_str(), 0, &data_) != FALSE;
        return isOpen_;
    }

    // The set is destroyed next, so an element that cannot be removed goes with it.
    void remove() {
        if (isOpen_)
            SetupDiDeleteDeviceInterfaceData(set_, &data_);
        isOpen_ = false;
    }

private:
    HDEVINFO set_;
    SP_DEVICE_INTERFACE_DATA data_{};
    bool isOpen_ = false;
};

bool firstDevice(HDEVINFO set, SP_DEVINFO_DATA& device) {
    device.cbSize = sizeof device;
    return SetupDiEnumDeviceInfo(set, 0, &device) != FALSE;
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

HRESULT removeDeviceNode(const std::wstring& controlPath) {
    DeviceInformationSet set(SetupDiCreateDeviceInfoList(nullptr, nullptr));
    if (!set)
        throwLastError();
    InterfaceElement element(set.get());
    SP_DEVINFO_DATA device{};
    if (!element.open(controlPath) || !firstDevice(set.get(), device)) {
        element.remove();
        throwErrorAfterDestroying(set);
    }
    callRemoval(set.get(), device);
    return restartNeeded(set.get(), device) ? S_FALSE : S_OK;
}

} // namespace zorvan::pnp
