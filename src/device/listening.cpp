// Listening: the unconnected port waits for whoever may connect.

#include "base/automation.h"
#include "base/hresult_error.h"
#include "device/virtual_serial_device.h"
#include "driver/control_channel.h"
#include "security/security_descriptor.h"

#include <sddl.h>

namespace zorvan {

namespace {

constexpr wchar_t kEveryoneMayConnect[] = L"D:AR(A;;CC;;;WD)";

std::wstring requestedDescriptor(const VARIANT& argument) {
    if (isOmitted(argument))
        return kEveryoneMayConnect;
    if (argument.vt != VT_BSTR)
        throw HResultError(E_INVALIDARG);
    return nulTerminated(argument.bstrVal);
}

// Only checks the text, which goes to the driver as it is.
void requireValidDescriptor(const std::wstring& text) {
    UniqueLocalMemory converted;
    if (ConvertStringSecurityDescriptorToSecurityDescriptorW(
            text.c_str(), SDDL_REVISION_1, converted.put(), nullptr) == FALSE)
        throwLastError();
    SecurityDescriptor().assign(converted.get());
}

} // namespace

HRESULT CVirtualSerialDevice::startListening(VARIANT securityDescriptor) noexcept {
    return comBoundary([&] { listen(securityDescriptor); });
}

void CVirtualSerialDevice::listen(const VARIANT& securityDescriptor) {
    const auto path = aliveControlPath();
    const auto text = requestedDescriptor(securityDescriptor);
    requireValidDescriptor(text);
    driver::sendSet(path, protocol::Set::StartListening, protocol::RecordWriter().appendString(text).bytes());
}

HRESULT CVirtualSerialDevice::get_securityDescriptor(BSTR* text) noexcept {
    return comGetter(text, [&] {
        const auto reply = driver::sendQuery(aliveControlPath(), protocol::Query::SecurityDescriptor);
        return newBstr(protocol::RecordReader(reply).readString());
    });
}

} // namespace zorvan
