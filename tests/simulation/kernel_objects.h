// Events, mutexes and the threads that the library starts. Threads are real; an event has a real one behind it, so
// that they can wait for it.
#pragma once

#include "simulation/handle_table.h"

#include <cstdint>
#include <optional>
#include <set>

namespace zorvan::simulation {

// What a thread can wait for, with a real object behind it.
struct Waitable : Object {
    Waitable(const char* what, HANDLE object) : Object(what), real(object) {}
    ~Waitable() override { ::CloseHandle(real); }

    const HANDLE real;
};

// The handles to hand to Windows: real ones for those of waitable objects, all others as they are.
std::vector<HANDLE> realHandles(const HANDLE* handles, DWORD count);

struct Event : Waitable {
    Event(bool manual, bool signalled)
        : Waitable("event", ::CreateEventW(nullptr, manual, signalled, nullptr)), manualReset(manual),
          initiallySignalled(signalled) {}

    const bool manualReset;
    const bool initiallySignalled;
    bool hadAttributes = false;
    std::optional<std::wstring> name;
};

struct Mutex : Object {
    Mutex() : Object("mutex") {}

    std::wstring name;
    bool initiallyOwned = false;
    bool inheritable = false;
    DWORD attributesLength = 0;
    std::vector<std::uint8_t> securityDescriptor; // as it was passed, when in self-relative form
};

struct KernelObjects {
    // Every mutex and event that the library has created, open or not.
    std::vector<std::shared_ptr<Mutex>> mutexes;
    std::vector<std::shared_ptr<Event>> events;

    // Names that another process has created already.
    std::set<std::wstring> existingNames;
};

struct Thread : Waitable {
    Thread(HANDLE thread, DWORD number) : Waitable("thread", thread), id(number) {}

    // Waits for its end, or for a while.
    bool hasEnded(DWORD milliseconds = 0) const { return ::WaitForSingleObject(real, milliseconds) == WAIT_OBJECT_0; }

    const DWORD id;
    bool settled = false; // it waits for messages, or has found that it cannot
};

// Every member may be used at any time from any thread.
class Threads {
public:
    void add(std::shared_ptr<Thread> thread);

    // Marks the calling thread, if it is the library's.
    void settle(bool settled);

    // Returns when each thread waits for messages, has ended, or has found that it cannot wait.
    void awaitSettled() const;

    // Returns when each thread has ended; fails the test when one goes on.
    void awaitEnd() const;

    // The threads in the order of their start.
    std::vector<std::shared_ptr<Thread>> all() const;

private:
    std::vector<std::shared_ptr<Thread>> threads_;
};

} // namespace zorvan::simulation
