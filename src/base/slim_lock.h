// The system's slim reader/writer lock, for std::unique_lock and std::shared_lock.
#pragma once

#include <windows.h>

#include <mutex>

namespace zorvan {

class SlimLock {
public:
    SlimLock() = default;
    SlimLock(const SlimLock&) = delete;
    SlimLock& operator=(const SlimLock&) = delete;
    ~SlimLock() = default;

    bool try_lock() { return TryAcquireSRWLockExclusive(&lock_) != FALSE; }
    void lock() { AcquireSRWLockExclusive(&lock_); }
    void unlock() { ReleaseSRWLockExclusive(&lock_); }
    void lock_shared() { AcquireSRWLockShared(&lock_); }
    void unlock_shared() { ReleaseSRWLockShared(&lock_); }

    SRWLOCK* native() { return &lock_; }

private:
    SRWLOCK lock_ = SRWLOCK_INIT;
};

// The lock held for writing. What needs it held takes this as a parameter.
using HeldLock = std::unique_lock<SlimLock>;

} // namespace zorvan
