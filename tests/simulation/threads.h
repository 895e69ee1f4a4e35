// The threads that the library starts. They are real.
#pragma once

#include "simulation/kernel_objects.h"

namespace zorvan::simulation {

struct Thread : Waitable {
    std::string description() const override { return "thread"; }
    HANDLE real() const override { return handle; }
    ~Thread() override { ::CloseHandle(handle); }

    // Waits for its end, or for a while.
    bool hasEnded(DWORD milliseconds = 0) const {
        return ::WaitForSingleObject(handle, milliseconds) == WAIT_OBJECT_0;
    }

    HANDLE handle = nullptr;
    DWORD id = 0;
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
