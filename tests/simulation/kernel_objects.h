// Events, mutexes and the threads that the library starts: Windows' own, whose handles are counted.
#pragma once

#include "simulation/handle_table.h"

namespace zorvan::simulation {

// One of Windows' own, in the hands of a process that the simulation makes up.
struct RealObject : Object {
    explicit RealObject(HANDLE handle);
    ~RealObject() override { ::CloseHandle(real); }

    HANDLE real = nullptr;
};

struct Thread : RealObject {
    Thread(HANDLE thread, DWORD number) : RealObject(thread), id(number) {}

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
