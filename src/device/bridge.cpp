// Bridges: joining this port with another one, here or on another computer.

#include "base/automation.h"
#include "base/hresult_error.h"
#include "device/virtual_serial_device.h"
#include "driver/control_channel.h"
#include "security/impersonation.h"

#include <optional>
#include <string_view>

namespace zorvan {

namespace {

// The strings are the caller's. The password is copied into the request alone, whose buffer is wiped.
struct BridgeRequest {
    std::wstring_view port;
    std::wstring_view server;
    bool permanent;
    BSTR login = nullptr;
    BSTR password = nullptr;
    BSTR domain = nullptr;
};

protocol::RecordWriter recordOf(const BridgeRequest& request) {
    protocol::RecordWriter record;
    record.appendString(request.port).appendString(request.server);
    for (auto* const text : {request.login, request.password, request.domain})
        record.appendString(bstrText(text));
    record.append(std::uint8_t{request.permanent});
    return record;
}

// A permanent bridge to another computer is prepared as the user, so that credentials that are good for nothing are
// refused before the driver gets to keep them.
protocol::RecordWriter prepare(const BridgeRequest& request) {
    std::optional<Impersonation> user;
    if (request.permanent && request.server != protocol::kLocalServer)
        user.emplace(
            logOn(nulTerminated(request.login), nulTerminated(request.domain), nulTerminated(request.password)));
    auto record = recordOf(request);
    if (user)
        user->end();
    return record;
}

void sendBridge(const std::wstring& path, const BridgeRequest& request) {
    const auto record = prepare(request);
    driver::sendSet(path, protocol::Set::CreateBridge, record.bytes());
}

} // namespace

HRESULT CVirtualSerialDevice::createBridge(IVirtualSerialDevice* anotherDevice, VARIANT_BOOL permanent) noexcept {
    return comBoundary([&] {
        const auto path = aliveControlPath();
        requirePointer(anotherDevice);
        if (!isSameClass<IVirtualSerialDevice>(*anotherDevice, *this))
            throw HResultError(E_NOINTERFACE);
        const ComPointer<CVirtualSerialDevice> partner(static_cast<CVirtualSerialDevice*>(anotherDevice));
        partner->listen(VARIANT{});
        const auto partnerName = partner->cachedPortName();
        sendBridge(path, {partnerName, protocol::kLocalServer, permanent != VARIANT_FALSE});
    });
}

HRESULT CVirtualSerialDevice::createRemoteBridge(
    BSTR portName, BSTR serverName, VARIANT_BOOL permanent, BSTR login, BSTR password, BSTR domain) noexcept {
    return comBoundary([&] {
        const auto path = aliveControlPath();
        sendBridge(
            path, {bstrText(portName), bstrText(serverName), permanent != VARIANT_FALSE, login, password, domain});
    });
}

HRESULT CVirtualSerialDevice::get_pair(IVirtualSerialDevice** anotherDevice) noexcept {
    return comGetter(anotherDevice, [&] {
        const auto number = driver::query<std::uint32_t>(aliveControlPath(), protocol::Query::Pair);
        if (number == 0)
            throw HResultError(E_FAIL);
        ComPointer<IVirtualSerialDevice> pair;
        throwIfFailed(library_.findDeviceByNumber(number, pair.put()));
        return pair.detach();
    });
}

} // namespace zorvan
