// The device object: one virtual port as clients see it.
#pragma once

#include "base/com_object.h"
#include "base/slim_lock.h"
#include "device/device_control.h"
#include "device/device_library.h"
#include "pnp/opening.h"

#include <zorvanlib.h>

#include <atomic>
#include <cstdint>
#include <string>

namespace zorvan {

class CVirtualSerialDevice;

struct DeviceHoldTraits {
    using Value = CVirtualSerialDevice*;
    static Value invalid() { return nullptr; }
    static void close(Value device);
};

// The library's own hold on a device object: its map's, or that of an event on its way. Unlike a COM reference it
// does not keep the library alive.
using DeviceHold = Unique<DeviceHoldTraits>;

// Lifetime: the library's map holds its devices, and a client that kept only a device keeps the library. So that the
// two do not keep each other for ever, COM references and the map's hold are counted apart: all COM references
// together count as one holder beside the map, and only while there are any does the device hold its library.
//
// From no COM reference to the first one can go only whoever has a hold (its own, or the map's with the map's lock),
// on a thread that has a reference to the library; so neither object can vanish in between.
class CVirtualSerialDevice final : public ComIdentity<DualInterface<IVirtualSerialDevice>, IDeviceControl> {
public:
    // The new object is held by the result alone.
    static DeviceHold create(IDeviceLibrary& library, pnp::DeviceIdentity identity);

    // One more hold on this object. For holders of a reference or a hold.
    DeviceHold hold() noexcept;

    ULONG STDMETHODCALLTYPE AddRef() noexcept override;
    ULONG STDMETHODCALLTYPE Release() noexcept override;

    // Properties
    HRESULT STDMETHODCALLTYPE get_mode(VirtualSerialDeviceMode* mode) noexcept override;
    HRESULT STDMETHODCALLTYPE get_path(BSTR* path) noexcept override;
    HRESULT STDMETHODCALLTYPE get_deleted(VARIANT_BOOL* deleted) noexcept override;
    HRESULT STDMETHODCALLTYPE get_portName(BSTR* portName) noexcept override;
    HRESULT STDMETHODCALLTYPE put_portName(BSTR portName) noexcept override;
    HRESULT STDMETHODCALLTYPE get_enabled(VARIANT_BOOL* enabled) noexcept override;
    HRESULT STDMETHODCALLTYPE put_enabled(VARIANT_BOOL enabled) noexcept override;
    HRESULT STDMETHODCALLTYPE get_vLibrary(IVirtualSerialLibrary** library) noexcept override;
    HRESULT STDMETHODCALLTYPE get_connections(ULONGLONG* connections) noexcept override;
    HRESULT STDMETHODCALLTYPE get_bytesSent(ULONGLONG* bytes) noexcept override;
    HRESULT STDMETHODCALLTYPE get_bytesReceived(ULONGLONG* bytes) noexcept override;
    HRESULT STDMETHODCALLTYPE put_emulateTxOverflow(VARIANT_BOOL emulate) noexcept override;
    HRESULT STDMETHODCALLTYPE get_emulateTxOverflow(VARIANT_BOOL* emulate) noexcept override;
    HRESULT STDMETHODCALLTYPE put_crossoverProbability(double probability) noexcept override;
    HRESULT STDMETHODCALLTYPE get_crossoverProbability(double* probability) noexcept override;

    // Life
    HRESULT STDMETHODCALLTYPE deleteDevice() noexcept override;
    HRESULT STDMETHODCALLTYPE disconnectDevice() noexcept override;

    // Not built yet: connections
    HRESULT STDMETHODCALLTYPE startListening(VARIANT) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_securityDescriptor(BSTR*) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE connectToPipe(BSTR) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE createAndConnectPipe(BSTR, ULONG, ULONG, ULONG, ULONG) noexcept override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE get_PipeName(BSTR*) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE createBridge(IVirtualSerialDevice*, VARIANT_BOOL) noexcept override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE get_pair(IVirtualSerialDevice**) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_remoteServer(BSTR*) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_remotePort(BSTR*) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_remoteEndpoint(BSTR*) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE createRemoteBridge(BSTR, BSTR, VARIANT_BOOL, BSTR, BSTR, BSTR) noexcept override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE get_localSocket(ISocket**) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_remoteSocket(ISocket**) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE restoreDefaultPins() noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE connectToFiles(BSTR, BSTR, FileCreationMode) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_inputFileName(BSTR*) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_outputFileName(BSTR*) noexcept override { return E_NOTIMPL; }

    // IDeviceControl
    DWORD STDMETHODCALLTYPE deviceNumber() noexcept override;
    HANDLE STDMETHODCALLTYPE notificationEvent() noexcept override;
    void STDMETHODCALLTYPE markDeleted() noexcept override;
    BOOL STDMETHODCALLTYPE refreshPortName() noexcept override;

private:
    friend struct DeviceHoldTraits;

    CVirtualSerialDevice(IDeviceLibrary& library, pnp::DeviceIdentity identity);
    ~CVirtualSerialDevice() = default;

    void dropHolder() noexcept;

    std::wstring cachedPortName() const;
    void cachePortName(const std::wstring& portName);

    // Everything of a rename but the report of it.
    void rename(const std::wstring& newName);

    // The control path as it is now, empty once the device is deleted: the open then reports the error.
    std::wstring controlPath() const;

    // The control path of a device that is alive; throws E_HANDLE otherwise.
    std::wstring aliveControlPath() const;

    IDeviceLibrary& library_;
    std::atomic<std::uint32_t> holders_{1};
    std::atomic<std::uint32_t> references_{0};

    SlimLock nameLock_; // from before a name is looked up or written until it is cached; taken before the next one
    mutable SlimLock identityLock_; // a refresh marks the device deleted while clients use it
    pnp::DeviceIdentity identity_;
};

} // namespace zorvan
