// A device of the Ports class that is registered and waits for the installation of its driver.
#pragma once

#include "driver/device_node.h"

#include <windows.h>

#include <string>

namespace zorvan::test {

class NewDevice {
public:
    // The development driver's, unless told otherwise. Throws when the device cannot be registered.
    explicit NewDevice(const std::wstring& hardwareId = L"QELTRAVIRT\\QeltraZorvan3");
    // Removes the device unless that was done, so that no test leaves one in the prefix.
    ~NewDevice();
    NewDevice(const NewDevice&) = delete;
    NewDevice& operator=(const NewDevice&) = delete;

    HDEVINFO set() const { return set_.get(); }
    SP_DEVINFO_DATA* element() { return &element_; }

    std::wstring friendlyName();
    // Empty when there is none.
    std::wstring portName();
    void setPortName(const std::wstring& name);
    bool exists();
    bool remove() { return SetupDiCallClassInstaller(DIF_REMOVE, set(), &element_); }

private:
    UniqueRegistryKey key();

    UniqueDeviceSet set_;
    SP_DEVINFO_DATA element_{};
};

} // namespace zorvan::test
