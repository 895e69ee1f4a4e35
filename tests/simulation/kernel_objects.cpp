#include "simulation/kernel_objects.h"

#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace zorvan::simulation {

std::vector<HANDLE> realHandles(const HANDLE* handles, DWORD count) {
    std::vector<HANDLE> real(handles, handles + count);
    const Guard lock(simulationMutex());
    for (auto& handle : real)
        if (const auto object = std::dynamic_pointer_cast<Waitable>(Machine::current().handles.find(handle)))
            handle = object->real;
    return real;
}

constexpr DWORD kPatienceMs = 20000;

void Threads::add(std::shared_ptr<Thread> thread) {
    const Guard lock(simulationMutex());
    threads_.push_back(std::move(thread));
}

void Threads::settle(bool settled) {
    const Guard lock(simulationMutex());
    for (const auto& thread : threads_)
        if (thread->id == GetCurrentThreadId())
            thread->settled = settled;
}

std::vector<std::shared_ptr<Thread>> Threads::all() const {
    const Guard lock(simulationMutex());
    return threads_;
}

void Threads::awaitSettled() const {
    const auto isSettled = [](const auto& thread) {
        const Guard lock(simulationMutex());
        return thread->settled || thread->hasEnded();
    };
    const auto threads = all();
    for (DWORD waited = 0; !std::all_of(threads.begin(), threads.end(), isSettled); ++waited) {
        ASSERT_LT(waited, kPatienceMs) << "a thread of the library does not come to rest";
        ::Sleep(1);
    }
}

void Threads::awaitEnd() const {
    for (const auto& thread : all())
        EXPECT_TRUE(thread->hasEnded(kPatienceMs)) << "a thread of the library does not end";
}

namespace {

SIMULATE(HANDLE, CreateEventW, LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL signalled, LPCWSTR name) {
    const FailableCall call(
        "CreateEventW", manualReset ? "manual" : "auto", signalled ? "signalled" : "not signalled", name);
    const auto event = std::make_shared<Event>(manualReset, signalled);
    event->hadAttributes = attributes != nullptr;
    if (name != nullptr)
        event->name = name;
    call->kernel.events.push_back(event);
    return call.open(event);
}

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

SIMULATE(HANDLE, CreateMutexW, LPSECURITY_ATTRIBUTES attributes, BOOL owned, LPCWSTR name) {
    const FailableCall call("CreateMutexW", owned ? "owned" : "not owned", name);
    const auto mutex = std::make_shared<Mutex>();
    mutex->name = name;
    mutex->initiallyOwned = owned != FALSE;
    if (attributes != nullptr)
        copyAttributes(*attributes, *mutex);
    call->kernel.mutexes.push_back(mutex);
    HANDLE handle = call.open(mutex);
    SetLastError(call->kernel.existingNames.contains(name) ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return handle;
}

SIMULATE(BOOL, CloseHandle, HANDLE handle) {
    if (!HandleTable::isSimulated(handle)) {
        // The C++ runtime inside the library closes handles of Windows itself, for instance of threads. Windows takes
        // INVALID_HANDLE_VALUE for the process itself and closes nothing.
        const Call call("CloseHandle", "real");
        call.misuseIf(
            handle == INVALID_HANDLE_VALUE || !::CloseHandle(handle),
            "the library closed " + describe(handle) + ", which is not open");
        return;
    }
    const Call call("CloseHandle", handle);
    const auto object = call.object<Object>(handle);
    call.misuseIf(
        std::dynamic_pointer_cast<NoKernelObject>(object) != nullptr,
        "the library closed a handle of the wrong kind, " + object->description);
    call.forget(handle);
    call.failIfTold(); // a close that reports failure has closed all the same
}

// Cannot be made to fail: it always works on a valid handle, and whoever waits for the event would wait for ever.
SIMULATE(BOOL, SetEvent, HANDLE handle) {
    const Call call("SetEvent", handle);
    succeedAs(::SetEvent(HandleTable::isSimulated(handle) ? call.object<Event>(handle)->real : handle));
}

// Waits are not calls in the list: how often a thread waits is chance. No lock is held while waiting.
SIMULATE(DWORD, WaitForSingleObject, HANDLE handle, DWORD milliseconds) {
    return ::WaitForSingleObject(realHandles(&handle, 1).front(), milliseconds);
}

SIMULATE(DWORD, WaitForMultipleObjects, DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds) {
    return ::WaitForMultipleObjects(count, realHandles(handles, count).data(), all, milliseconds);
}

SIMULATE(
    HANDLE, CreateThread, LPSECURITY_ATTRIBUTES attributes, SIZE_T stack, LPTHREAD_START_ROUTINE start,
    LPVOID parameter, DWORD flags, LPDWORD id) {
    const FailableCall call("CreateThread", Hex{flags});
    DWORD number = 0;
    HANDLE real = ::CreateThread(attributes, stack, start, parameter, flags, id != nullptr ? id : &number);
    const auto thread = std::make_shared<Thread>(real, id != nullptr ? *id : number);
    call->threads.add(thread);
    return call.open(thread);
}

// Does not return; the call must be over before.
SIMULATE(void, FreeLibraryAndExitThread, HMODULE module, DWORD code) {
    { const Call call("FreeLibraryAndExitThread", code); }
    ::FreeLibraryAndExitThread(module, code);
}

SIMULATE(
    BOOL, SleepConditionVariableSRW, PCONDITION_VARIABLE condition, PSRWLOCK lock, DWORD milliseconds, ULONG flags) {
    { const FailableCall call("SleepConditionVariableSRW", milliseconds); }
    succeedAs(::SleepConditionVariableSRW(condition, lock, milliseconds, flags));
}

// Simulated time passes only while the library sleeps, and at once. Waits for events and threads are real.
SIMULATE(void, Sleep, DWORD milliseconds) {
    { const Call call("Sleep", milliseconds); }
    ::Sleep(0); // whoever sleeps lets others run
}

} // namespace

} // namespace zorvan::simulation
