// A mutex that is owned while this lives.
#pragma once

#include <windows.h>

namespace zorvan::devkit {

class MutexLock {
public:
    // An abandoned mutex is as good as any: what the mutexes of the stand-ins guard is never left half done.
    explicit MutexLock(HANDLE mutex, DWORD milliseconds = INFINITE) : mutex_(mutex) {
        const DWORD wait = WaitForSingleObject(mutex, milliseconds);
        owned_ = wait == WAIT_OBJECT_0 || wait == WAIT_ABANDONED;
    }
    ~MutexLock() {
        if (owned_)
            ReleaseMutex(mutex_);
    }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    explicit operator bool() const { return owned_; }

private:
    HANDLE mutex_;
    bool owned_;
};

} // namespace zorvan::devkit
