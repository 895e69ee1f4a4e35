#include "device.h"

#include "wine/kernel/interface_state.h"
#include "wine/kernel/kernel_call.h"

namespace zorvan::engine {
namespace {

LONG lastSerialDevice = 0;
Device* volatile removedDevices = nullptr;

EntranceExtension& entranceExtension(DEVICE_OBJECT* object) {
    return *static_cast<EntranceExtension*>(object->DeviceExtension);
}

// The function device's extension holds the device itself, too.
struct FunctionExtension {
    EntranceExtension entrance;
    Device device;
};

class SerialDeviceName {
public:
    SerialDeviceName() {
        wchar_t digits[12];
        UNICODE_STRING number{0, sizeof digits, digits};
        RtlIntegerToUnicodeString(static_cast<ULONG>(InterlockedIncrement(&lastSerialDevice)), 10, &number);
        name_.MaximumLength = sizeof text_ - sizeof(wchar_t);
        name_.Buffer = text_;
        RtlAppendUnicodeToString(&name_, const_cast<wchar_t*>(kSerialDevicePrefix));
        RtlAppendUnicodeStringToString(&name_, &number);
        text_[name_.Length / sizeof(wchar_t)] = L'\0';
    }

    UNICODE_STRING* unicode() { return &name_; }
    const wchar_t* text() const { return text_; }

private:
    wchar_t text_[40]{};
    UNICODE_STRING name_{};
};

NTSTATUS createSerialDevice(Device& device, SerialDeviceName& name) {
    const auto status = IoCreateDevice(
        device.function->DriverObject, sizeof(EntranceExtension), name.unicode(), FILE_DEVICE_SERIAL_PORT, 0, TRUE,
        &device.serial);
    if (NT_SUCCESS(status)) {
        entranceExtension(device.serial) = {Entrance::Serial, &device};
        device.serial->Flags &= ~static_cast<ULONG>(DO_DEVICE_INITIALIZING);
    }
    return status;
}

NTSTATUS createPort(Device& device, const SerialDeviceName& name) {
    HANDLE key = nullptr;
    const auto status = IoOpenDeviceRegistryKey(device.physical, PLUGPLAY_REGKEY_DEVICE, KEY_READ, &key);
    if (!NT_SUCCESS(status))
        return status;
    device.port = zorvanCreatePort(key, name.text());
    ZwClose(key);
    return device.port ? STATUS_SUCCESS : STATUS_INSUFFICIENT_RESOURCES;
}

// A driver process that has died leaves its links behind, and the system enables no interface whose link is there.
NTSTATUS enableInterface(UNICODE_STRING* interfacePath) {
    IoDeleteSymbolicLink(interfacePath);
    const KernelCall call;
    return IoSetDeviceInterfaceState(interfacePath, TRUE);
}

// An interface's path points to the physical device, where control requests enter. The serial one is pointed to
// the serial device instead, by a link of the same name.
NTSTATUS pointTo(UNICODE_STRING* interfacePath, SerialDeviceName& name) {
    const auto status = IoDeleteSymbolicLink(interfacePath);
    return NT_SUCCESS(status) ? IoCreateSymbolicLink(interfacePath, name.unicode()) : status;
}

// The control interface comes last: who is told of it finds the device complete.
NTSTATUS enableInterfaces(Device& device, SerialDeviceName& name) {
    auto status = enableInterface(&device.serialInterface);
    if (NT_SUCCESS(status))
        status = pointTo(&device.serialInterface, name);
    if (NT_SUCCESS(status))
        status = enableInterface(&device.controlInterface);
    return status;
}

NTSTATUS registerInterfaces(Device& device) {
    const KernelCall call;
    auto status =
        IoRegisterDeviceInterface(device.physical, zorvanControlInterface(), nullptr, &device.controlInterface);
    if (NT_SUCCESS(status))
        status =
            IoRegisterDeviceInterface(device.physical, zorvanSerialPortInterface(), nullptr, &device.serialInterface);
    return status;
}

// Wine creates the physical device of a root-enumerated node and forgets it when the node is removed; on Windows its
// creator deletes it.
void deleteDevice(Device& device) {
    auto* const physical = device.physical;
    if (device.port)
        zorvanFreePort(device.port);
    if (device.serial)
        IoDeleteDevice(device.serial);
    RtlFreeUnicodeString(&device.controlInterface);
    RtlFreeUnicodeString(&device.serialInterface);
    if (physical)
        IoDetachDevice(physical);
    IoDeleteDevice(device.function); // the device itself goes with it
    if (physical)
        IoDeleteDevice(physical);
}

// Wine puts each new device object before the others of its driver, without a lock that others could take. So none is
// deleted while it is the first one.
bool isNewest(const DEVICE_OBJECT* object) {
    return object && object->DriverObject->DeviceObject == object;
}

bool mayBeDeleted(const Device& device) {
    return device.openFiles == 0 && !isNewest(device.function) && !isNewest(device.serial) &&
           !isNewest(device.physical);
}

void addRemovedDevice(Device& device) {
    auto* const head = const_cast<void* volatile*>(reinterpret_cast<void* const volatile*>(&removedDevices));
    do
        device.nextRemoved = removedDevices;
    while (InterlockedCompareExchangePointer(head, &device, device.nextRemoved) != device.nextRemoved);
}

Device* takeRemovedDevices() {
    auto* const head = const_cast<void* volatile*>(reinterpret_cast<void* const volatile*>(&removedDevices));
    return static_cast<Device*>(InterlockedExchangePointer(head, nullptr));
}

NTSTATUS attach(Device& device, DEVICE_OBJECT* physical) {
    if (!IoAttachDeviceToDeviceStack(device.function, physical))
        return STATUS_NO_SUCH_DEVICE;
    device.physical = physical;
    return registerInterfaces(device);
}

// Of a device that could not be added the node and its physical device stay.
void abandonDevice(Device& device) {
    if (device.physical)
        IoDetachDevice(device.physical);
    device.physical = nullptr;
    addRemovedDevice(device);
}

} // namespace

NTSTATUS addDevice(DRIVER_OBJECT* driver, DEVICE_OBJECT* physical) {
    DEVICE_OBJECT* function = nullptr;
    auto status =
        IoCreateDevice(driver, sizeof(FunctionExtension), nullptr, FILE_DEVICE_SERIAL_PORT, 0, FALSE, &function);
    if (!NT_SUCCESS(status))
        return status;

    auto& extension = *static_cast<FunctionExtension*>(function->DeviceExtension);
    auto& device = extension.device;
    RtlZeroMemory(&device, sizeof device);
    extension.entrance = {Entrance::Control, &device};
    device.function = function;
    status = attach(device, physical);
    if (!NT_SUCCESS(status)) {
        abandonDevice(device);
        return status;
    }
    function->Flags &= ~static_cast<ULONG>(DO_DEVICE_INITIALIZING);
    return STATUS_SUCCESS;
}

NTSTATUS startDevice(Device& device) {
    SerialDeviceName name;
    auto status = createSerialDevice(device, name);
    if (NT_SUCCESS(status))
        status = createPort(device, name);
    if (NT_SUCCESS(status)) {
        zorvanStartPort(device.port);
        status = enableInterfaces(device, name);
    }
    if (!NT_SUCCESS(status))
        stopDevice(device);
    return status;
}

// Stopping what was not started does nothing: a removal stops twice, and a start that failed stops once more.
void stopDevice(Device& device) {
    disableInterface(&device.controlInterface);
    disableInterface(&device.serialInterface);
    if (device.port)
        zorvanStopPort(device.port);
}

void retireDevice(Device& device) {
    stopDevice(device);
    addRemovedDevice(device);
}

void reapRemovedDevices(const Device* present) {
    for (auto* device = takeRemovedDevices(); device;) {
        auto* const next = device->nextRemoved;
        if (device != present && mayBeDeleted(*device))
            deleteDevice(*device);
        else
            addRemovedDevice(*device);
        device = next;
    }
}

void deleteRemovedDevices() {
    for (auto* device = takeRemovedDevices(); device;) {
        auto* const next = device->nextRemoved;
        deleteDevice(*device);
        device = next;
    }
}

} // namespace zorvan::engine
