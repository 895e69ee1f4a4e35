// The library object: the one class that clients create.
#pragma once

#include "api/device_map.h"
#include "base/com_object.h"
#include "base/module_lock_count.h"
#include "device/device_library.h"
#include "events/event_thread.h"
#include "events/publisher.h"

#include <zorvanlib.h>

#include <optional>
#include <string>

namespace zorvan {

// Lifetime: see CVirtualSerialDevice for its devices. The last release ends the event thread, waiting for what it is
// doing, and destroys the object. The event thread has a reference only while it calls listeners: when the last one
// goes there, it destroys the object itself after its report.
class CVirtualSerialLibrary final : public ComIdentity<DualInterface<IVirtualSerialLibrary>, IDeviceLibrary>,
                                    private EventThreadClient,
                                    private EventOwner {
public:
    // A library object that knows the ports of the system and hears of changes.
    static ComPointer<CVirtualSerialLibrary> create();

    ULONG STDMETHODCALLTYPE AddRef() noexcept override { return references_.add(); }
    ULONG STDMETHODCALLTYPE Release() noexcept override;

    HRESULT STDMETHODCALLTYPE createDevice(VARIANT portName, IVirtualSerialDevice** device) noexcept override;
    HRESULT STDMETHODCALLTYPE get_devicesCollection(IDeviceCollection** collection) noexcept override;
    HRESULT STDMETHODCALLTYPE get_devicesArray(IDispatch** array) noexcept override;

    HRESULT STDMETHODCALLTYPE addListener(IVirtualSerialLibraryListener* listener) noexcept override;
    HRESULT STDMETHODCALLTYPE removeListener(IVirtualSerialLibraryListener* listener) noexcept override;
    HRESULT STDMETHODCALLTYPE added(VARIANT callbackOrId, LONG* id) noexcept override;
    HRESULT STDMETHODCALLTYPE deleted(VARIANT callbackOrId, LONG* id) noexcept override;
    HRESULT STDMETHODCALLTYPE changed(VARIANT callbackOrId, LONG* id) noexcept override;
    HRESULT STDMETHODCALLTYPE dispatchEvents(IDispatch* keepAlive, ULONG intervalMs) noexcept override;
    HRESULT STDMETHODCALLTYPE stopEventDispatching() noexcept override;

    // IDeviceLibrary
    HRESULT STDMETHODCALLTYPE findDeviceByNumber(DWORD number, IVirtualSerialDevice** device) noexcept override;
    HRESULT STDMETHODCALLTYPE portNameChanged(CVirtualSerialDevice* device) noexcept override;

private:
    CVirtualSerialLibrary() : publisher_(*this), devices_(*this, publisher_) {}
    ~CVirtualSerialLibrary() = default;

    // EventOwner
    bool tryAddReference() noexcept override { return references_.tryAdd(); }
    void releaseReference() noexcept override { Release(); }

    // EventThreadClient
    void devicesChanged() override { devices_.refresh(); }
    void deviceSignalled(const std::wstring& instanceId) override;
    std::vector<WaitedDevice> devicesToWaitFor() const override { return devices_.duplicateEvents(); }
    void destroy() noexcept override;

    // Looks for the new device until the system shows it; null when it takes too long.
    ComPointer<IVirtualSerialDevice> waitForDevice(const std::wstring& instanceId);

    // What the three scripting methods do: subscribes an object, or ends the subscription with this identifier.
    HRESULT changeSubscription(ScriptEvent event, const VARIANT& callbackOrId, LONG* id) noexcept;

    ModuleUse moduleUse_;
    ReferenceCount references_;
    Publisher publisher_;
    DeviceMap devices_;
    std::optional<EventThread> eventThread_; // the last member: the thread uses the others until it has ended
};

} // namespace zorvan
