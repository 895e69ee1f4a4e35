#include "api/virtual_serial_library.h"

#include "api/device_collection.h"
#include "base/automation.h"
#include "base/hresult_error.h"
#include "events/device_array.h"
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
    // Also a name without a number asks for the listing: oddity 19 of docs/architecture.md.
    if (!name.empty() && pnp::isUsed(pnp::listUsedPortNumbers(), number))
        throw HResultError(kNumberTaken);
    return number;
}

} // namespace

ComPointer<CVirtualSerialLibrary> CVirtualSerialLibrary::create() {
    // The reference also serves the devices, which take and drop references while they are opened.
    ComPointer<CVirtualSerialLibrary> library(new CVirtualSerialLibrary);
    library->devices_.refresh();
    library->eventThread_.emplace(static_cast<EventThreadClient&>(*library));
    return library;
}

ULONG CVirtualSerialLibrary::Release() noexcept {
    const ULONG left = references_.remove();
    if (left != 0)
        return left;
    if (eventThread_ && eventThread_->isCurrentThread())
        eventThread_->destroyClientAtEnd();
    else
        destroy();
    return 0;
}

void CVirtualSerialLibrary::destroy() noexcept {
    eventThread_.reset(); // while the count is 0, so that the thread reports nothing more
    references_.beginDestruction();
    delete this;
}

HRESULT CVirtualSerialLibrary::createDevice(VARIANT portName, IVirtualSerialDevice** device) noexcept {
    return comGetter(device, [&] {
        const auto number = requestedNumber(portName);
        const ComPointer<CVirtualSerialLibrary> self(this); // a listener may release the caller's reference
        const auto knownBefore = devices_.snapshot();
        const auto instanceId = pnp::createDeviceNode(number);
        devices_.dropPredecessor(instanceId, knownBefore);
        auto created = waitForDevice(instanceId);
        // Oddity 2 of docs/architecture.md.
        if (!created)
            throw HResultError(pnp::kRestartNeeded);
        return created.detach();
    });
}

ComPointer<IVirtualSerialDevice> CVirtualSerialLibrary::waitForDevice(const std::wstring& instanceId) {
    auto device = devices_.find(instanceId);
    for (int failed = 1; !device && failed < kLookUps; ++failed) {
        Sleep(kPauseMs);
        devices_.refresh();
        device = devices_.find(instanceId);
    }
    return ComPointer<IVirtualSerialDevice>(device.get());
}

HRESULT CVirtualSerialLibrary::get_devicesCollection(IDeviceCollection** collection) noexcept {
    return comGetter(collection, [&] { return makeComObject<CDeviceCollection>(devices_.snapshot()).detach(); });
}

HRESULT CVirtualSerialLibrary::get_devicesArray(IDispatch** array) noexcept {
    return comGetter(array, [&] { return makeComObject<CDeviceArray>(devices_.snapshot()).detach(); });
}

HRESULT CVirtualSerialLibrary::addListener(IVirtualSerialLibraryListener* listener) noexcept {
    return comBoundary([&] {
        requirePointer(listener);
        publisher_.listeners().add(listener);
    });
}

HRESULT CVirtualSerialLibrary::removeListener(IVirtualSerialLibraryListener* listener) noexcept {
    return comBoundary([&] { publisher_.listeners().remove(listener); });
}

HRESULT CVirtualSerialLibrary::added(VARIANT callbackOrId, LONG* id) noexcept {
    return changeSubscription(ScriptEvent::Added, callbackOrId, id);
}

HRESULT CVirtualSerialLibrary::deleted(VARIANT callbackOrId, LONG* id) noexcept {
    return changeSubscription(ScriptEvent::Deleted, callbackOrId, id);
}

HRESULT CVirtualSerialLibrary::changed(VARIANT callbackOrId, LONG* id) noexcept {
    return changeSubscription(ScriptEvent::Changed, callbackOrId, id);
}

HRESULT
CVirtualSerialLibrary::changeSubscription(ScriptEvent event, const VARIANT& callbackOrId, LONG* id) noexcept {
    // Oddity 27 of docs/architecture.md.
    if (callbackOrId.vt != VT_DISPATCH)
        return comBoundary([&] { publisher_.subscriptions().unsubscribe(convertVariant(callbackOrId, VT_I4).lVal); });
    return comGetter(id, [&] {
        if (callbackOrId.pdispVal == nullptr)
            throw HResultError(E_INVALIDARG);
        return publisher_.subscriptions().subscribe(event, callbackOrId.pdispVal);
    });
}

HRESULT CVirtualSerialLibrary::dispatchEvents(IDispatch* keepAlive, ULONG intervalMs) noexcept {
    return comBoundary([&] {
        const ComPointer<CVirtualSerialLibrary> self(this); // a callback may release the caller's reference
        dispatchUntilStopped(publisher_.queue(), keepAlive, intervalMs);
    });
}

HRESULT CVirtualSerialLibrary::stopEventDispatching() noexcept {
    return comBoundary([&] { publisher_.queue().add([] { return false; }); });
}

void CVirtualSerialLibrary::deviceSignalled(const std::wstring& instanceId) {
    const auto device = devices_.find(instanceId);
    if (!device)
        return;
    publisher_.deviceChanged(*device.get(), Change_PortMode);
    // The driver signals whatever changes, so the name is looked up as well, which takes many times as long as the
    // report. A rename that this library object made is known and reported already.
    if (device.get()->refreshPortName())
        publisher_.deviceChanged(*device.get(), Change_PortName);
}

HRESULT CVirtualSerialLibrary::portNameChanged(CVirtualSerialDevice* device) noexcept {
    return comBoundary([&] { publisher_.deviceChanged(*device, Change_PortName); });
}

HRESULT CVirtualSerialLibrary::findDeviceByNumber(DWORD number, IVirtualSerialDevice** device) noexcept {
    return comGetter(device, [&] {
        auto found = devices_.findByNumber(number);
        if (!found)
            throw HResultError(hresultFromWin32(ERROR_NOT_FOUND));
        return found.detach();
    });
}

} // namespace zorvan
