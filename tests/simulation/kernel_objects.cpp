#include "simulation/kernel_objects.h"

#include "simulation/machine.h"
#include "simulation/simulated_function.h"

namespace zorvan::simulation {

Event::Event(bool manual, bool signalled)
    : manualReset(manual), initiallySignalled(signalled),
      real_(CreateEventW(nullptr, manual ? TRUE : FALSE, signalled ? TRUE : FALSE, nullptr)) {}

Event::~Event() {
    ::CloseHandle(real_);
}

std::vector<HANDLE> realHandles(const HANDLE* handles, DWORD count) {
    std::vector<HANDLE> real(handles, handles + count);
    const std::lock_guard lock(simulationMutex());
    for (auto& handle : real)
        if (const auto object = std::dynamic_pointer_cast<Waitable>(Machine::current().handles.find(handle)))
            handle = object->real();
    return real;
}

namespace {

std::optional<std::wstring> optionalText(const wchar_t* text) {
    return text == nullptr ? std::nullopt : std::optional<std::wstring>(text);
}

// The handle of a fresh object; its name may exist already.
HANDLE openNamed(const Call& call, std::shared_ptr<Object> object, const std::optional<std::wstring>& name) {
    const bool exists = name && call->kernel.existingNames.count(*name) != 0;
    HANDLE handle = call.open(std::move(object));
    SetLastError(exists ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return handle;
}

HANDLE WINAPI createEvent(LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL signalled, LPCWSTR name) {
    Call call("CreateEventW", manualReset ? "manual" : "auto", signalled ? "signalled" : "not signalled", name);
    if (call.fails())
        return nullptr;
    auto event = std::make_shared<Event>(manualReset != FALSE, signalled != FALSE);
    event->name = optionalText(name);
    event->hadAttributes = attributes != nullptr;
    call->kernel.events.push_back(event);
    return openNamed(call, event, event->name);
}
SIMULATE(CreateEventW, createEvent);

void copyAttributes(const SECURITY_ATTRIBUTES& attributes, Mutex& mutex) {
    mutex.attributesLength = attributes.nLength;
    mutex.inheritable = attributes.bInheritHandle != FALSE;
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    auto* descriptor = attributes.lpSecurityDescriptor;
    if (!GetSecurityDescriptorControl(descriptor, &control, &revision) || (control & SE_SELF_RELATIVE) == 0)
        return;
    const auto* bytes = static_cast<const std::uint8_t*>(descriptor);
    mutex.securityDescriptor.assign(bytes, bytes + GetSecurityDescriptorLength(descriptor));
}

HANDLE WINAPI createMutex(LPSECURITY_ATTRIBUTES attributes, BOOL owned, LPCWSTR name) {
    Call call("CreateMutexW", owned ? "owned" : "not owned", name);
    if (call.fails())
        return nullptr;
    auto mutex = std::make_shared<Mutex>();
    mutex->name = optionalText(name);
    mutex->initiallyOwned = owned != FALSE;
    if (attributes != nullptr)
        copyAttributes(*attributes, *mutex);
    call->kernel.mutexes.push_back(mutex);
    return openNamed(call, mutex, mutex->name);
}
SIMULATE(CreateMutexW, createMutex);

// The C++ runtime inside the library closes handles of Windows itself, for instance of threads.
BOOL closeReal(const Call& call, HANDLE handle) {
    // Windows takes INVALID_HANDLE_VALUE for the process itself and closes nothing.
    if (handle != INVALID_HANDLE_VALUE && ::CloseHandle(handle))
        return TRUE;
    call.reportMisuse("the library closed " + describe(handle) + ", which is not open");
    return Call::failed(ERROR_INVALID_HANDLE);
}

BOOL WINAPI closeHandle(HANDLE handle) {
    if (!HandleTable::isSimulated(handle)) {
        Call call("CloseHandle", "real");
        return closeReal(call, handle);
    }
    Call call("CloseHandle", handle);
    const auto object = call.object<Object>(handle);
    if (object == nullptr)
        return FALSE;
    if (std::dynamic_pointer_cast<NoKernelObject>(object) != nullptr) {
        call.reportMisuse("the library closed a handle of the wrong kind, " + object->description());
        return Call::failed(ERROR_INVALID_HANDLE);
    }
    call.close(handle);
    return call.fails() ? FALSE : TRUE; // a close that reports failure has closed all the same
}
SIMULATE(CloseHandle, closeHandle);

// For a call that takes events only.
HANDLE realHandle(const Call& call, HANDLE handle) {
    if (!HandleTable::isSimulated(handle))
        return handle;
    const auto event = call.object<Event>(handle);
    return event == nullptr ? nullptr : event->real();
}

// Cannot be made to fail: it always works on a valid handle, and whoever waits for the event would wait for ever.
BOOL WINAPI setEvent(HANDLE handle) {
    Call call("SetEvent", handle);
    return ::SetEvent(realHandle(call, handle));
}
SIMULATE(SetEvent, setEvent);

// Waits are not calls in the list: how often a thread waits is chance. No lock is held while waiting.
DWORD WINAPI waitForSingleObject(HANDLE handle, DWORD milliseconds) {
    return ::WaitForSingleObject(realHandles(&handle, 1).front(), milliseconds);
}
SIMULATE(WaitForSingleObject, waitForSingleObject);

DWORD WINAPI waitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds) {
    return ::WaitForMultipleObjects(count, realHandles(handles, count).data(), all, milliseconds);
}
SIMULATE(WaitForMultipleObjects, waitForMultipleObjects);

} // namespace

} // namespace zorvan::simulation
