// The engine's one lock, and what has to wait until it is released.
//
// Requests are completed without the lock: the system holds a lock of its own when it hands over a cancellation, and
// takes the same one to complete a request. Connections are ended without it, since their threads take it.
#pragma once

#include "status.h"

#include <cstddef>
#include <memory>

namespace zorvan::driver {

// From construction to destruction; at the end everything that was put off is done.
class EngineLock {
public:
    EngineLock();
    ~EngineLock();
    EngineLock(const EngineLock&) = delete;
    EngineLock& operator=(const EngineLock&) = delete;
};

// The functions below are called with the lock held.

void completeLater(void* request, Status status, std::size_t size = 0);
void releaseLater(std::shared_ptr<void> object);

// Before the first request comes.
void setCompletion(CompleteRequest complete);

} // namespace zorvan::driver
