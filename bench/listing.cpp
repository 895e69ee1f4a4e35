#include "listing.h"

#include "pnp/device_classes.h"

namespace zorvan::bench {

DWORD listDevices(const ListingFunctions& system) {
    constexpr DWORD kPresent = DIGCF_PRESENT | DIGCF_DEVICEINTERFACE;
    HDEVINFO set =
        system.getClassDevices(&pnp::kControlInterface, nullptr, nullptr, kPresent, nullptr, nullptr, nullptr);
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    DWORD count = 0;
    wchar_t id[MAX_DEVICE_ID_LEN];
    for (; system.enumerate(set, count, &device) != FALSE; ++count)
        system.getId(device.DevInst, id, MAX_DEVICE_ID_LEN, 0);
    system.getClassDevices(&pnp::kSerialPortInterface, nullptr, nullptr, kPresent, set, nullptr, nullptr);
    system.destroy(set);
    return count;
}

} // namespace zorvan::bench
