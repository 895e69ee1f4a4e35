// What exists once while the library is loaded.
#pragma once

#include <windows.h>

namespace zorvan {

// A critical section that remembers whether it could be made.
class RegistrationLock {
public:
    RegistrationLock() : usable_(InitializeCriticalSectionEx(&section_, 0, 0) != FALSE) {}
    RegistrationLock(const RegistrationLock&) = delete;
    RegistrationLock& operator=(const RegistrationLock&) = delete;
    ~RegistrationLock() {
        if (usable_)
            DeleteCriticalSection(&section_);
    }

    bool usable() const { return usable_; }
    void lock() { EnterCriticalSection(&section_); }
    void unlock() { LeaveCriticalSection(&section_); }

private:
    CRITICAL_SECTION section_{};
    bool usable_;
};

// Guards what belongs to the whole process: registration and its per-user mode.
RegistrationLock& registrationLock();

} // namespace zorvan
