// Which driver a device gets. Wine's setupapi reads every INF of the machine for each device, and takes the driver's
// files apart to find that they are there already: together half of the time that an installation takes. So a process
// that installs a device of the same kind again, while the driver store is as it was, gets the driver from the same
// INF and copies no files.
#pragma once

#include <windows.h>

#include <setupapi.h>

#include <string>

namespace zorvan::devkit {

class DriverChoice {
public:
    DriverChoice(HDEVINFO set, PSP_DEVINFO_DATA device);

    // Builds the list of drivers for the device.
    bool buildList();

    // To be called when the device is installed.
    void remember() const;

private:
    bool narrowDown();

    HDEVINFO set_;
    PSP_DEVINFO_DATA device_;
    std::wstring kind_;   // the device's hardware IDs
    ULONGLONG storeTime_; // when the driver store was changed last
};

} // namespace zorvan::devkit
