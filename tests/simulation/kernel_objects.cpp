#include "simulation/kernel_objects.h"

#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace zorvan::simulation {

constexpr char kHandle[] = "handle";

RealObject::RealObject(HANDLE handle) : Object("real object") {
    ::DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), &real, 0, FALSE, DUPLICATE_SAME_ACCESS);
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

GIVES(HANDLE, CreateEventW, kHandle);
GIVES(HANDLE, CreateMutexW, kHandle);
PASS(BOOL, SleepConditionVariableSRW);

SIMULATE(
    HANDLE, CreateThread, LPSECURITY_ATTRIBUTES attributes, SIZE_T stack, LPTHREAD_START_ROUTINE start,
    LPVOID parameter, DWORD flags, LPDWORD id) {
    HANDLE real = ::CreateThread(attributes, stack, start, parameter, flags, id);
    call->threads.add(std::make_shared<Thread>(real, *id));
    call->count(kHandle, 1);
    return real;
}

// A close that a test makes fail has closed all the same. Windows takes INVALID_HANDLE_VALUE for the process itself
// and closes nothing.
SIMULATE_SURE(BOOL, CloseHandle, HANDLE handle) {
    if (HandleTable::isSimulated(handle)) {
        const auto object = call.object<Object>(handle);
        call.misuseIf(
            std::dynamic_pointer_cast<NoKernelObject>(object) != nullptr,
            "the library closed a handle of the wrong kind, " + object->description);
        call.forget(handle);
    } else {
        call.misuseIf(handle == INVALID_HANDLE_VALUE || !::CloseHandle(handle), "the library closed a closed handle");
        call->count(kHandle, -1);
    }
    call.failIfTold();
}

// The C++ runtime inside the library has no foreign handles; of the processes that are made up, processes.cpp tells.
SIMULATE(
    BOOL, DuplicateHandle, HANDLE sourceProcess, HANDLE source, HANDLE targetProcess, LPHANDLE target, DWORD access,
    BOOL inherit, DWORD options) {
    auto& from = handlesOf(call, sourceProcess);
    auto& to = handlesOf(call, targetProcess);
    const bool isReal = &from == &call->handles && !HandleTable::isSimulated(source);
    if (isReal && &to == &from) {
        succeedAs(::DuplicateHandle(sourceProcess, source, targetProcess, target, access, inherit, options));
        call->count(kHandle, 1);
        return;
    }
    const auto object = isReal                    ? std::make_shared<RealObject>(source)
                        : &from == &call->handles ? call.object<Object>(source)
                                                  : from.find(source);
    failIf(object == nullptr, ERROR_INVALID_HANDLE);
    *target = to.open(object);
    if ((options & DUPLICATE_CLOSE_SOURCE) != 0)
        from.close(source);
}

SIMULATE_SURE(void, FreeLibraryAndExitThread, HMODULE module, DWORD code) {
    call.over();
    ::FreeLibraryAndExitThread(module, code);
}

// Simulated time passes only while the library sleeps, and at once. Waits for events and threads are real.
SIMULATE_SURE(void, Sleep, DWORD milliseconds) {
    call.over();
    ::Sleep(0); // whoever sleeps lets others run
}

} // namespace

} // namespace zorvan::simulation
