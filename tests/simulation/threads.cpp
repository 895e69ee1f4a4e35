#include "simulation/threads.h"

#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace zorvan::simulation {

namespace {

constexpr DWORD kPatienceMs = 20000;

using Guard = std::lock_guard<std::recursive_mutex>;

} // namespace

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

HANDLE WINAPI createThread(
    LPSECURITY_ATTRIBUTES attributes, SIZE_T stack, LPTHREAD_START_ROUTINE start, LPVOID parameter, DWORD flags,
    LPDWORD id) {
    Call call("CreateThread", Hex{flags});
    if (call.fails())
        return nullptr;
    auto thread = std::make_shared<Thread>();
    thread->handle = ::CreateThread(attributes, stack, start, parameter, flags, &thread->id);
    if (id != nullptr)
        *id = thread->id;
    call->threads.add(thread);
    return call.open(thread);
}
SIMULATE(CreateThread, createThread);

BOOL WINAPI getModuleHandleEx(DWORD flags, LPCWSTR name, HMODULE* module) {
    Call call("GetModuleHandleExW", Hex{flags});
    return call.fails() ? FALSE : ::GetModuleHandleExW(flags, name, module);
}
SIMULATE(GetModuleHandleExW, getModuleHandleEx);

// Does not return; the call must be over before.
void WINAPI freeLibraryAndExitThread(HMODULE module, DWORD code) {
    { Call call("FreeLibraryAndExitThread", code); }
    ::FreeLibraryAndExitThread(module, code);
}
SIMULATE(FreeLibraryAndExitThread, freeLibraryAndExitThread);

BOOL WINAPI sleepConditionVariable(PCONDITION_VARIABLE condition, PSRWLOCK lock, DWORD milliseconds, ULONG flags) {
    {
        Call call("SleepConditionVariableSRW", milliseconds);
        if (call.fails())
            return FALSE;
    }
    return ::SleepConditionVariableSRW(condition, lock, milliseconds, flags);
}
SIMULATE(SleepConditionVariableSRW, sleepConditionVariable);

} // namespace

} // namespace zorvan::simulation
