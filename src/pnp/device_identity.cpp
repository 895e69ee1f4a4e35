#include "pnp/device_identity.h"

#include "base/hresult_error.h"
#include "driver/control_channel.h"
#include "pnp/device_classes.h"
#include "pnp/port_name.h"
#include "security/hand_over.h"

#include <algorithm>
#include <vector>

namespace zorvan::pnp {

namespace {

UniqueHandle createNotificationEvent() {
    UniqueHandle event(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    if (!event)
        throwLastError();
    return event;
}

DWORD interfaceDetailSize(HDEVINFO set, SP_DEVICE_INTERFACE_DATA& interfaceData) {
    DWORD size = 0;
    const BOOL succeeded = SetupDiGetDeviceInterfaceDetailW(set, &interfaceData, nullptr, 0, &size, nullptr);
    if (succeeded != FALSE || GetLastError() != ERROR_INSUFFICIENT_BUFFER)
        throwLastError();
    return size;
}

std::wstring interfacePath(HDEVINFO set, SP_DEVINFO_DATA& device, const GUID& interfaceClass) {
    SP_DEVICE_INTERFACE_DATA interfaceData{};
    interfaceData.cbSize = sizeof interfaceData;
    if (SetupDiEnumDeviceInterfaces(set, &device, &interfaceClass, 0, &interfaceData) == FALSE)
        throwLastError();

    // One character more than asked for: the path ends even if the system forgot its NUL.
    const DWORD size = interfaceDetailSize(set, interfaceData);
    std::vector<BYTE> buffer(
        std::max<std::size_t>(size, sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W)) + sizeof(wchar_t));
    auto* detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(buffer.data());
    detail->cbSize = sizeof *detail;
    static_assert(sizeof *detail == 8);
    if (SetupDiGetDeviceInterfaceDetailW(set, &interfaceData, detail, size, nullptr, nullptr) == FALSE)
        throwLastError();
    return detail->DevicePath;
}

// Learns the host process and hands the notification event over to it, or 0: oddity 14 of docs/architecture.md. With
// 0 the device works, but reports no changes.
void bindToDriver(DeviceIdentity& identity) {
    identity.hostProcessId = driver::query<std::uint32_t>(identity.controlPath, protocol::Query::HostProcessId);
    auto hostEvent = duplicateIntoHost(identity.hostProcessId, identity.notificationEvent.get());
    handOver(identity.controlPath, protocol::Set::HostEvent, hostEvent.get().value, hostEvent);
}

bool tryBindToDriver(DeviceIdentity& identity) {
    try {
        bindToDriver(identity);
        return true;
    } catch (const HResultError&) {
        return false;
    }
}

std::wstring currentPortName(HDEVINFO set, SP_DEVINFO_DATA& device) {
    const auto key = openHardwareKey(set, device, KEY_READ);
    return key ? readPortName(key.get()) : std::wstring();
}

} // namespace

DeviceIdentity openDevice(HDEVINFO set, SP_DEVINFO_DATA& device, const std::wstring& instanceId) {
    DeviceIdentity identity;
    identity.notificationEvent = createNotificationEvent();
    identity.instanceId = instanceId;
    identity.controlPath = interfacePath(set, device, kControlInterface);
    identity.portPath = interfacePath(set, device, kSerialPortInterface);
    identity.alive = tryBindToDriver(identity);
    if (identity.alive)
        identity.portName = currentPortName(set, device);
    return identity;
}

} // namespace zorvan::pnp
