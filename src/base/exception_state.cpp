// The state that the C++ runtime keeps for each thread while it handles exceptions.
//
// mingw-w64's own way of keeping it goes through its thread library, which leaves handles behind in a process that
// loads the library, lets it throw and unloads it. Here the state is in a fiber-local slot of the system, which frees
// it when a thread ends and when the library is unloaded. Other compilers have no need of this.
#ifdef __MINGW32__

#include <windows.h>

#include <atomic>
#include <cxxabi.h>
#include <exception>

namespace {

void WINAPI freeState(void* state) {
    HeapFree(GetProcessHeap(), 0, state);
}

// Made when it is first needed, which may be before the module's own objects are constructed.
constinit std::atomic<DWORD> slot{FLS_OUT_OF_INDEXES};

DWORD stateSlot() {
    if (const DWORD made = slot; made != FLS_OUT_OF_INDEXES)
        return made;
    const DWORD fresh = FlsAlloc(freeState);
    DWORD made = FLS_OUT_OF_INDEXES;
    if (slot.compare_exchange_strong(made, fresh))
        return fresh;
    FlsFree(fresh); // another thread was faster
    return made;
}

struct SlotGuard {
    ~SlotGuard() {
        if (slot != FLS_OUT_OF_INDEXES)
            FlsFree(slot);
    }
};
const SlotGuard slotGuard;

// The runtime's record: the exceptions being handled, and how many are on their way.
struct ExceptionState {
    void* caught;
    unsigned int uncaught;
};

void* threadState() {
    const DWORD index = stateSlot();
    if (void* state = FlsGetValue(index); state != nullptr)
        return state;
    void* state = HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(ExceptionState));
    // Without the state no exception can be handled at all.
    if (state == nullptr || FlsSetValue(index, state) == FALSE)
        std::terminate();
    return state;
}

} // namespace

namespace __cxxabiv1 {

extern "C" __cxa_eh_globals*
__cxa_get_globals() noexcept { // NOLINT(bugprone-reserved-identifier): the runtime's name
    return static_cast<__cxa_eh_globals*>(threadState());
}

extern "C" __cxa_eh_globals* __cxa_get_globals_fast() noexcept { // NOLINT(bugprone-reserved-identifier)
    return static_cast<__cxa_eh_globals*>(threadState());
}

} // namespace __cxxabiv1

#endif
