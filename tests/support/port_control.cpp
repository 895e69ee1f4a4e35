#include "port_control.h"

#include "base/hresult_error.h"
#include "driver/control_channel.h"
#include "pnp/device_classes.h"
#include "pnp/device_information_set.h"
#include "pnp/port_name.h"

#include <vector>

namespace zorvan::devkit {

namespace {

std::wstring controlPath(HDEVINFO set, SP_DEVINFO_DATA& device) {
    SP_DEVICE_INTERFACE_DATA control{};
    control.cbSize = sizeof control;
    if (SetupDiEnumDeviceInterfaces(set, &device, &pnp::kControlInterface, 0, &control) == FALSE)
        throwLastError();
    DWORD size = 0;
    SetupDiGetDeviceInterfaceDetailW(set, &control, nullptr, 0, &size, nullptr); // fails, but tells the size
    std::vector<BYTE> buffer(size + sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W));
    auto* detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(buffer.data());
    detail->cbSize = sizeof *detail;
    if (SetupDiGetDeviceInterfaceDetailW(set, &control, detail, size, nullptr, nullptr) == FALSE)
        throwLastError();
    return detail->DevicePath;
}

} // namespace

std::wstring controlPathOf(const std::wstring& portName) {
    const auto set = pnp::presentDevices(pnp::kControlInterface);
    std::wstring path;
    pnp::forEachDevice(set, [&](SP_DEVINFO_DATA& device) {
        const auto key = pnp::openHardwareKey(set.get(), device, KEY_READ);
        if (key && pnp::readPortName(key.get()) == portName)
            path = controlPath(set.get(), device);
    });
    if (path.empty())
        throw HResultError(hresultFromWin32(ERROR_FILE_NOT_FOUND));
    return path;
}

void bridge(const std::wstring& controlPath, const std::wstring& partnerName) {
    protocol::RecordWriter record;
    record.appendString(partnerName).appendString(L".");
    record.appendString(L"").appendString(L"").appendString(L""); // login, password, domain
    record.append(std::uint8_t{0});                               // not permanent
    driver::sendSet(controlPath, protocol::Set::CreateBridge, record.bytes());
}

void disconnect(const std::wstring& controlPath) {
    driver::sendSet(controlPath, protocol::Set::Disconnect);
}

} // namespace zorvan::devkit
