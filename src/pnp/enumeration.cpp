#include "pnp/enumeration.h"

#include "pnp/device_classes.h"

#include <algorithm>

namespace zorvan::pnp {

bool PresentDevices::contains(const std::wstring& instanceId) const {
    const auto found = std::lower_bound(
        records.begin(), records.end(), instanceId,
        [](const PresentDevice& record, const std::wstring& id) { return record.instanceId < id; });
    return found != records.end() && found->instanceId == instanceId;
}

PresentDevices enumeratePresentDevices() {
    PresentDevices present{presentDevices(kControlInterface), {}};
    forEachDevice(present.set, [&](const SP_DEVINFO_DATA& device) {
        present.records.push_back({device, deviceInstanceId(device)});
    });
    std::sort(present.records.begin(), present.records.end(), [](const auto& left, const auto& right) {
        return left.instanceId < right.instanceId;
    });
    addPresentDevices(present.set, kSerialPortInterface);
    return present;
}

} // namespace zorvan::pnp
