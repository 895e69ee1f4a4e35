#include "submitted_requests.h"

namespace zorvan::engine {
namespace {

// Wine hands over a cancellation by the address of the request, in a queue. One that is completed on another thread
// meanwhile would be free by then, its memory perhaps already another request, which would be cancelled in its place.
// So the last ones that were completed are kept; more of them than cancellations can wait in the queue.
constexpr LONG kKept = 64;
void* volatile kept[kKept];
LONG nextKept = 0;

// Completes the rest of it, which is freeing it.
void freeKept(void* irp) {
    if (irp)
        IoCompleteRequest(static_cast<IRP*>(irp), IO_NO_INCREMENT);
}

void keep(IRP* irp) {
    const auto slot = static_cast<ULONG>(InterlockedIncrement(&nextKept)) % kKept;
    freeKept(InterlockedExchangePointer(&kept[slot], irp));
}

// Stands in for the system's own completion routine, which is left in the driver's part of the request.
NTSTATUS NTAPI completeAndKeep(DEVICE_OBJECT* object, IRP* irp, void* context) {
    const auto routine = reinterpret_cast<PIO_COMPLETION_ROUTINE>(irp->Tail.Overlay.DriverContext[0]);
    const auto status = routine(object, irp, context);
    if (status != STATUS_MORE_PROCESSING_REQUIRED) // the system needs it still, and knows of no cancellation
        keep(irp);
    return STATUS_MORE_PROCESSING_REQUIRED;
}

// The engine knows what it has completed already.
void NTAPI cancelSubmitted(DEVICE_OBJECT* object, IRP* irp) {
    IoReleaseCancelSpinLock(irp->CancelIrql);
    zorvanCancel(static_cast<EntranceExtension*>(object->DeviceExtension)->device->port, irp);
}

} // namespace

// Cancellations come on the thread that dispatches requests, too: none can come before the engine has the request.
NTSTATUS submit(Device& device, IRP* irp, Operation operation, std::uint32_t size) {
    auto& stack = *IoGetCurrentIrpStackLocation(irp);
    irp->Tail.Overlay.DriverContext[0] = reinterpret_cast<void*>(stack.CompletionRoutine);
    stack.CompletionRoutine = completeAndKeep;
    IoMarkIrpPending(irp);
    IoSetCancelRoutine(irp, cancelSubmitted);
    zorvanSubmit(device.port, operation, irp, irp->AssociatedIrp.SystemBuffer, size);
    return STATUS_PENDING;
}

// Completing moves the request on to its next stack location. A cancellation that has just taken the routine reads
// the location still, under the lock.
void completeSubmitted(void* request, Outcome outcome) {
    auto* const irp = static_cast<IRP*>(request);
    KIRQL level = PASSIVE_LEVEL;
    IoAcquireCancelSpinLock(&level);
    IoSetCancelRoutine(irp, nullptr);
    IoReleaseCancelSpinLock(level);
    irp->IoStatus.Status = static_cast<NTSTATUS>(outcome.status);
    irp->IoStatus.Information = outcome.replySize;
    IoCompleteRequest(irp, IO_NO_INCREMENT);
}

void freeCompletedRequests() {
    for (auto& slot : kept)
        freeKept(InterlockedExchangePointer(&slot, nullptr));
}

} // namespace zorvan::engine
