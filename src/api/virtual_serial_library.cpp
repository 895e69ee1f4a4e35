#include "api/virtual_serial_library.h"

#include "api/device_array.h"
#include "api/device_collection.h"
#include "base/automation.h"
#include "base/hresult_error.h"
#include "base/module_lock_count.h"
#include "pnp/creation.h"
#include "pnp/port_name.h"
#include "pnp/used_port_numbers.h"

namespace zorvan {

namespace {

constexpr HRESULT kNumberTaken = static_cast<HRESULT>(0x800702BA);
constexpr int kLookUps = 120;
constexpr DWORD kPauseMs = 500;

// The text of createDevice's argument, empty when it was omitted.
std::wstring_view requestedName(const VARIANT& portName) {
    if (isOmitted(portName))
        return {};
    if (portName.vt != VT_BSTR)
        throw HResultError(E_INVALIDARG);
    return bstrText(portName.bstrVal);
}

std::uint32_t requestedNumber(const VARIANT& portName) {
    const auto name = requestedName(portName);
    const auto number = pnp::portNumber(name);
    // A name without a number asks for the listing too, whose failure then fails the creation. Intended.
    if (!name.empty() && pnp::isUsed(pnp::listUsedPortNumbers(), number))
        throw HResultError(kNumberTaken);
    return number;
}

} // namespace

std::unique_ptr<CVirtualSerialLibrary> CVirtualSerialLibrary::create() {
    std::unique_ptr<CVirtualSerialLibrary> library(new CVirtualSerialLibrary);
    // Opening devices may take and drop references to the library; these must not be the last ones.
    constexpr int kBias = 10;
    for (int i = 0; i < kBias; ++i)
        library->references_.add();
    library->devices_.refresh();
    for (int i = 0; i < kBias; ++i)
        library->references_.remove();
    return library;
}

ULONG CVirtualSerialLibrary::Release() noexcept {
    const ULONG left = references_.remove();
    if (left == 0) {
        references_.setAside();
        moduleLockCount::remove();
        delete this;
    }
    return left;
}

HRESULT CVirtualSerialLibrary::createDevice(VARIANT portName, IVirtualSerialDevice** device) noexcept {
    return comBoundary([&] {
        requirePointer(device);
        const auto number = requestedNumber(portName);
        // The system gives the instance ID of a deleted node to the next one: its old device must be gone from the
        // map.
        devices_.refresh();
        const auto instanceId = pnp::createDeviceNode(number);
        auto created = waitForDevice(instanceId);
        // The code is the one of a needed restart, although none may be needed. Intended.
        if (!created)
            throw HResultError(pnp::kRestartNeeded);
        *device = created.detach();
    });
}

ComPointer<IVirtualSerialDevice> CVirtualSerialLibrary::waitForDevice(const std::wstring& instanceId) {
    auto device = devices_.find(instanceId);
    for (int failed = 1; !device && failed < kLookUps; ++failed) {
        Sleep(kPauseMs);
        devices_.refresh();
        device = devices_.find(instanceId);
    }
    return device;
}

HRESULT CVirtualSerialLibrary::get_devicesCollection(IDeviceCollection** collection) noexcept {
    return comBoundary([&] {
        requirePointer(collection);
        *collection = makeComObject<CDeviceCollection>(devices_.snapshot(), reference()).detach();
    });
}

HRESULT CVirtualSerialLibrary::get_devicesArray(IDispatch** array) noexcept {
    return comBoundary([&] {
        requirePointer(array);
        *array = makeComObject<CDeviceArray>(devices_.snapshot(), reference()).detach();
    });
}

HRESULT CVirtualSerialLibrary::findDeviceByNumber(DWORD number, IVirtualSerialDevice** device) noexcept {
    return comBoundary([&] {
        requirePointer(device);
        auto found = devices_.findByNumber(number);
        if (!found)
            throw HResultError(hresultFromWin32(ERROR_NOT_FOUND));
        *device = found.detach();
    });
}

} // namespace zorvan
