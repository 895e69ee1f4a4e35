#include "base/exception_state.h"

// mingw-w64's own way of keeping the state goes through its thread library, which leaves handles behind in a process
// that loads the library, lets it throw and unloads it. Here the state is in a fiber-local slot of the system, which
// frees it when a thread ends and when the library is unloaded. Other compilers have no need of this.
#ifdef __MINGW32__

#include <windows.h>

#include <array>
#include <atomic>
#include <cxxabi.h>

namespace {

// The runtime's record: the exceptions being handled, and how many are on their way.
struct ExceptionState {
    void* caught;
    unsigned int uncaught;
};

void WINAPI freeState(void* state) {
    HeapFree(GetProcessHeap(), 0, state);
}

class StateSlot {
public:
    StateSlot() : index_(FlsAlloc(freeState)) {}
    StateSlot(const StateSlot&) = delete;
    StateSlot& operator=(const StateSlot&) = delete;
    // A client that lets go of its last object while the process ends may come here once more.
    ~StateSlot() {
        if (usable())
            FlsFree(index_);
        index_ = FLS_OUT_OF_INDEXES;
    }

    bool usable() const { return index_ != FLS_OUT_OF_INDEXES; }
    ExceptionState* get() const { return static_cast<ExceptionState*>(FlsGetValue(index_)); }

    // Null when there is no memory.
    ExceptionState* makeNew() const {
        void* state = usable() ? HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(ExceptionState)) : nullptr;
        if (state != nullptr && FlsSetValue(index_, state) == FALSE) {
            freeState(state);
            state = nullptr;
        }
        return static_cast<ExceptionState*>(state);
    }

private:
    DWORD index_;
};

// Before the module's objects, whose construction may throw.
__attribute__((init_priority(102))) StateSlot slot;

// For threads that handle an exception when there is no memory, which may be what the exception is about. A record is
// its thread's for as long as there is something in it.
class SpareState {
public:
    bool isMine() const { return owner_ == GetCurrentThreadId(); }
    bool tryTake() {
        DWORD nobody = 0;
        return owner_.compare_exchange_strong(nobody, GetCurrentThreadId());
    }
    bool inUse() const { return state_.caught != nullptr || state_.uncaught != 0; }
    void giveBack() { owner_ = 0; }
    ExceptionState* state() { return &state_; }

private:
    std::atomic<DWORD> owner_{0};
    ExceptionState state_{};
};
constinit std::array<SpareState, 16> spareStates;

// What this thread has under way in a record of its own; one that is finished with goes back.
ExceptionState* ownSpareState() {
    for (auto& spare : spareStates)
        if (spare.isMine()) {
            if (spare.inUse())
                return spare.state();
            spare.giveBack();
        }
    return nullptr;
}

ExceptionState* takeSpareState() {
    for (auto& spare : spareStates)
        if (spare.tryTake())
            return spare.state();
    return nullptr;
}

ExceptionState* threadState() {
    if (auto* state = slot.get(); state != nullptr)
        return state;
    if (auto* state = ownSpareState(); state != nullptr)
        return state;
    // When even the records are all taken, something becomes free sooner or later; without the state no exception can
    // be handled at all.
    for (;; Sleep(1)) {
        if (auto* state = slot.makeNew(); state != nullptr)
            return state;
        if (auto* state = takeSpareState(); state != nullptr)
            return state;
    }
}

} // namespace

namespace __cxxabiv1 {

extern "C" __cxa_eh_globals*
__cxa_get_globals() noexcept { // NOLINT(bugprone-reserved-identifier): the runtime's name
    return reinterpret_cast<__cxa_eh_globals*>(threadState());
}

extern "C" __cxa_eh_globals* __cxa_get_globals_fast() noexcept { // NOLINT(bugprone-reserved-identifier)
    return reinterpret_cast<__cxa_eh_globals*>(threadState());
}

} // namespace __cxxabiv1

bool zorvan::exceptionsCanBeHandled() {
    return slot.usable();
}

#else

bool zorvan::exceptionsCanBeHandled() {
    return true;
}

#endif
