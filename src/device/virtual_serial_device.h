// The device object: one virtual port as clients see it.
#pragma once

#include "base/com_object.h"
#include "base/slim_lock.h"
#include "device/device_control.h"
#include "device/device_library.h"
#include "device/pin_wiring.h"
#include "driver/protocol.h"
#include "pnp/device_identity.h"

#include <zorvanlib.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace zorvan {

namespace pnp {
class PortRename;
}

class CVirtualSerialDevice;

// Where the driver of a device takes requests, and the process that needs the handles in them.
struct BoundDriver {
    std::wstring controlPath;
    DWORD hostProcessId;
};

void dropHold(CVirtualSerialDevice* device) noexcept;

// The library's own hold on a device object: its map's, or that of an event on its way. Unlike a COM reference it
// does not keep the library alive.
using DeviceHold = Unique<dropHold>;
using DeviceHolds = std::vector<DeviceHold>;

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

    // Listening and pipes
    HRESULT STDMETHODCALLTYPE startListening(VARIANT securityDescriptor) noexcept override;
    HRESULT STDMETHODCALLTYPE get_securityDescriptor(BSTR* text) noexcept override;
    HRESULT STDMETHODCALLTYPE connectToPipe(BSTR pipeName) noexcept override;
    HRESULT STDMETHODCALLTYPE createAndConnectPipe(
        BSTR pipeName, ULONG instances, ULONG outputBufferSize, ULONG inputBufferSize,
        ULONG defaultTimeout) noexcept override;
    HRESULT STDMETHODCALLTYPE get_PipeName(BSTR* name) noexcept override;

    // Bridges
    HRESULT STDMETHODCALLTYPE
    createBridge(IVirtualSerialDevice* anotherDevice, VARIANT_BOOL permanent) noexcept override;
    HRESULT STDMETHODCALLTYPE get_pair(IVirtualSerialDevice** anotherDevice) noexcept override;
    HRESULT STDMETHODCALLTYPE get_remoteServer(BSTR* server) noexcept override;
    HRESULT STDMETHODCALLTYPE get_remotePort(BSTR* port) noexcept override;
    HRESULT STDMETHODCALLTYPE get_remoteEndpoint(BSTR* endpoint) noexcept override;
    HRESULT STDMETHODCALLTYPE createRemoteBridge(
        BSTR portName, BSTR serverName, VARIANT_BOOL permanent, BSTR login, BSTR password,
        BSTR domain) noexcept override;

    // Sockets and pins
    HRESULT STDMETHODCALLTYPE get_localSocket(ISocket** socket) noexcept override;
    HRESULT STDMETHODCALLTYPE get_remoteSocket(ISocket** socket) noexcept override;
    HRESULT STDMETHODCALLTYPE restoreDefaultPins() noexcept override;

    // Files
    HRESULT STDMETHODCALLTYPE
    connectToFiles(BSTR inputFile, BSTR outputFile, FileCreationMode creation) noexcept override;
    HRESULT STDMETHODCALLTYPE get_inputFileName(BSTR* name) noexcept override;
    HRESULT STDMETHODCALLTYPE get_outputFileName(BSTR* name) noexcept override;

    // IDeviceControl
    DWORD STDMETHODCALLTYPE deviceNumber() noexcept override;
    HANDLE STDMETHODCALLTYPE notificationEvent() noexcept override;
    void STDMETHODCALLTYPE markDeleted() noexcept override;

    // Looks the port name up again, which another program may have changed. Whether it is a different one now. False
    // too while it is being changed through this object, which reports that itself.
    bool refreshPortName() noexcept;

    // For its pins: connects two that may be connected, or parts them. Throws when the driver cannot be told.
    void connectPins(Pin source, Pin target, bool connected);

private:
    friend void dropHold(CVirtualSerialDevice* device) noexcept;

    CVirtualSerialDevice(IDeviceLibrary& library, pnp::DeviceIdentity identity);
    ~CVirtualSerialDevice() = default;

    std::wstring cachedPortName() const;
    void cachePortName(const std::wstring& portName);

    void rename(const HeldLock& name, pnp::PortRename& renaming, const std::wstring& newName);
    std::wstring systemPortName(const HeldLock& name);

    // What startListening does; throws.
    void listen(const VARIANT& securityDescriptor);

    HRESULT getCounter(std::uint64_t protocol::TrafficCounters::*counter, ULONGLONG* value) noexcept;
    HRESULT getFileName(std::uint64_t protocol::HostHandlePair::*file, BSTR* name) noexcept;

    HRESULT newSocket(bool remote, ISocket** socket) noexcept;
    // Throws when the driver does not take it.
    void sendWiring(const HeldLock& wiring) const;

    // The control path as it is now, empty once the device is deleted: the open then reports the error.
    std::wstring controlPath() const;

    // The driver of a device that is alive; throws E_HANDLE otherwise. One look, because the device may be marked
    // deleted between two.
    BoundDriver aliveDriver() const;
    std::wstring aliveControlPath() const { return aliveDriver().controlPath; }

    IDeviceLibrary& library_;
    std::atomic<std::uint32_t> holders_{1};
    std::atomic<std::uint32_t> references_{0};

    SlimLock nameLock_; // from before a name is looked up or written until it is cached; taken before the next one
    UniqueRegistryKey nameKey_;     // where the system keeps the name; opened when it is first looked up
    mutable SlimLock identityLock_; // a refresh marks the device deleted while clients use it
    pnp::DeviceIdentity identity_;

    SlimLock wiringLock_; // held while the wiring is sent, so that what was sent last is what is kept
    PinWiring wiring_;
};

} // namespace zorvan
