// zorvan.sys: turns the system's requests into calls on the engine.
//
// It imports nothing but ntoskrnl.exe and the engine, which Wine's driver loader insists on; hence no C++ library, no
// exceptions. Requests for files come on one thread of the driver process, plug-and-play requests on others.
#include "device.h"
#include "submitted_requests.h"

using namespace zorvan::engine;

namespace {

Status statusOf(const Outcome& outcome) {
    return outcome.status;
}

NTSTATUS complete(IRP* irp, Outcome outcome) {
    const auto status = static_cast<NTSTATUS>(statusOf(outcome));
    irp->IoStatus.Status = status;
    irp->IoStatus.Information = outcome.replySize;
    IoCompleteRequest(irp, IO_NO_INCREMENT);
    return status;
}

const EntranceExtension& entranceOf(DEVICE_OBJECT* object) {
    return *static_cast<EntranceExtension*>(object->DeviceExtension);
}

bool isClosed(FILE_OBJECT& file) {
    HANDLE handle = nullptr;
    if (!NT_SUCCESS(ObOpenObjectByPointer(&file, 0, nullptr, 0, nullptr, KernelMode, &handle)))
        return false;
    const bool closed = zorvanIsLastHandle(handle);
    ZwClose(handle);
    return closed;
}

void closeSerial(Device& device) {
    device.opener = nullptr;
    zorvanCloseSerial(device.port);
}

// Wine may tell us of an opening before it tells us of the closing that came before it. So the file that has the port
// is asked whether anybody has it open.
Status openSerial(Device& device, FILE_OBJECT& file) {
    if (device.opener && isClosed(*device.opener))
        closeSerial(device);
    const auto status = zorvanOpenSerial(device.port);
    if (status == Status::Success)
        device.opener = &file;
    return status;
}

NTSTATUS NTAPI createFile(DEVICE_OBJECT* object, IRP* irp) {
    const auto& [entrance, device] = entranceOf(object);
    reapRemovedDevices(device);
    ++device->openFiles; // closed again even when it is refused: Wine hands out the file before we are asked
    auto& file = *IoGetCurrentIrpStackLocation(irp)->FileObject;
    return complete(irp, {entrance == Entrance::Serial ? openSerial(*device, file) : Status::Success, 0});
}

NTSTATUS NTAPI closeFile(DEVICE_OBJECT* object, IRP* irp) {
    auto* const device = entranceOf(object).device;
    reapRemovedDevices(device);
    if (device->opener == IoGetCurrentIrpStackLocation(irp)->FileObject)
        closeSerial(*device);
    --device->openFiles;
    return complete(irp, {Status::Success, 0});
}

NTSTATUS submitFor(DEVICE_OBJECT* object, IRP* irp, Operation operation, std::uint32_t size) {
    const auto& [entrance, device] = entranceOf(object);
    if (entrance == Entrance::Control)
        return complete(irp, {Status::InvalidDeviceRequest, 0});
    if (device->opener != IoGetCurrentIrpStackLocation(irp)->FileObject)
        return complete(irp, {Status::AccessDenied, 0});
    return submit(*device, irp, operation, size);
}

NTSTATUS NTAPI read(DEVICE_OBJECT* object, IRP* irp) {
    return submitFor(object, irp, Operation::Read, IoGetCurrentIrpStackLocation(irp)->Parameters.Read.Length);
}

NTSTATUS NTAPI write(DEVICE_OBJECT* object, IRP* irp) {
    return submitFor(object, irp, Operation::Write, IoGetCurrentIrpStackLocation(irp)->Parameters.Write.Length);
}

NTSTATUS NTAPI flush(DEVICE_OBJECT* object, IRP* irp) {
    return submitFor(object, irp, Operation::Flush, 0);
}

Outcome control(const EntranceExtension& extension, const IO_STACK_LOCATION& stack, void* buffer) {
    const auto& request = stack.Parameters.DeviceIoControl;
    const auto [entrance, device] = extension;
    if (entrance == Entrance::Control)
        return zorvanControl(
            device->port, request.IoControlCode, buffer, request.InputBufferLength, request.OutputBufferLength);
    if (device->opener != stack.FileObject)
        return {Status::AccessDenied, 0};
    return zorvanSerialControl(
        device->port, request.IoControlCode, buffer, request.InputBufferLength, request.OutputBufferLength);
}

// Every request that either side knows is of the buffered method; the others lack a buffer of that kind.
NTSTATUS NTAPI deviceControl(DEVICE_OBJECT* object, IRP* irp) {
    const auto& stack = *IoGetCurrentIrpStackLocation(irp);
    const auto& request = stack.Parameters.DeviceIoControl;
    if ((request.IoControlCode & 3) != METHOD_BUFFERED)
        return complete(irp, {Status::InvalidDeviceRequest, 0});
    if (request.IoControlCode == IOCTL_SERIAL_WAIT_ON_MASK)
        return submitFor(object, irp, Operation::WaitForEvent, request.OutputBufferLength);
    return complete(irp, control(entranceOf(object), stack, irp->AssociatedIrp.SystemBuffer));
}

NTSTATUS passDown(const Device& device, IRP* irp) {
    IoSkipCurrentIrpStackLocation(irp);
    return IoCallDriver(device.physical, irp);
}

NTSTATUS start(Device& device, IRP* irp) {
    const auto status = startDevice(device);
    if (!NT_SUCCESS(status))
        return complete(irp, {static_cast<Status>(status), 0});
    return passDown(device, irp);
}

NTSTATUS NTAPI plugAndPlay(DEVICE_OBJECT* object, IRP* irp) {
    const auto& [entrance, device] = entranceOf(object);
    if (entrance == Entrance::Serial) // not on the node's stack
        return complete(irp, {Status::InvalidDeviceRequest, 0});

    switch (IoGetCurrentIrpStackLocation(irp)->MinorFunction) {
    case IRP_MN_START_DEVICE:
        return start(*device, irp);
    case IRP_MN_SURPRISE_REMOVAL:
        stopDevice(*device);
        return passDown(*device, irp);
    case IRP_MN_REMOVE_DEVICE: {
        stopDevice(*device);
        const auto status = passDown(*device, irp);
        retireDevice(*device);
        return status;
    }
    default:
        return passDown(*device, irp);
    }
}

NTSTATUS NTAPI addDeviceOf(DRIVER_OBJECT* driver, DEVICE_OBJECT* physical) {
    return addDevice(driver, physical);
}

// The devices were removed before.
void NTAPI unload(DRIVER_OBJECT*) {
    freeCompletedRequests();
    deleteRemovedDevices();
}

} // namespace

extern "C" NTSTATUS NTAPI DriverEntry(DRIVER_OBJECT* driver, UNICODE_STRING*) {
    zorvanStartDriver(completeSubmitted, kSerialDevicePrefix);
    driver->DriverExtension->AddDevice = addDeviceOf;
    driver->DriverUnload = unload;
    driver->MajorFunction[IRP_MJ_CREATE] = createFile;
    driver->MajorFunction[IRP_MJ_CLOSE] = closeFile;
    driver->MajorFunction[IRP_MJ_DEVICE_CONTROL] = deviceControl;
    driver->MajorFunction[IRP_MJ_READ] = read;
    driver->MajorFunction[IRP_MJ_WRITE] = write;
    driver->MajorFunction[IRP_MJ_FLUSH_BUFFERS] = flush;
    driver->MajorFunction[IRP_MJ_PNP] = plugAndPlay;
    return STATUS_SUCCESS;
}
