// The other end of a bridge, as the driver and as people call it. Oddity 11 of docs/architecture.md.

#include "base/automation.h"
#include "base/hresult_error.h"
#include "device/virtual_serial_device.h"
#include "driver/control_channel.h"

namespace zorvan {

namespace {

struct RemoteEndpoint {
    std::wstring server;
    std::wstring port;
};

RemoteEndpoint queryRemoteEndpoint(const std::wstring& path) {
    const auto reply = driver::sendQuery(path, protocol::Query::RemoteEndpoint);
    protocol::RecordReader reader(reply);
    auto server = reader.readString();
    return {std::move(server), reader.readString()};
}

std::wstring hostName() {
    std::wstring name(MAX_COMPUTERNAME_LENGTH + 1, L'\0');
    auto size = static_cast<DWORD>(name.size());
    while (GetComputerNameExW(ComputerNameDnsHostname, name.data(), &size) == FALSE) {
        if (GetLastError() != ERROR_MORE_DATA)
            throwLastError();
        name.resize(2 * name.size());
        size = static_cast<DWORD>(name.size());
    }
    name.resize(size);
    return name;
}

// Oddity 16 of docs/architecture.md.
std::wstring displayName(const RemoteEndpoint& endpoint) {
    if (endpoint.server == hostName())
        return endpoint.port;
    return L"\\\\" + endpoint.server + L"\\" + endpoint.port;
}

} // namespace

HRESULT CVirtualSerialDevice::get_remoteServer(BSTR* server) noexcept {
    return comGetter(server, [&] { return newBstr(queryRemoteEndpoint(controlPath()).server); });
}

HRESULT CVirtualSerialDevice::get_remotePort(BSTR* port) noexcept {
    return comGetter(port, [&] { return newBstr(queryRemoteEndpoint(controlPath()).port); });
}

HRESULT CVirtualSerialDevice::get_remoteEndpoint(BSTR* endpoint) noexcept {
    return comGetter(endpoint, [&] { return newBstr(displayName(queryRemoteEndpoint(controlPath()))); });
}

} // namespace zorvan
