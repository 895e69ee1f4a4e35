// The engine's one lock, and what has to wait until it is released.
//
// Requests are completed without the lock: the system holds a lock of its own when it hands over a cancellation, and
// takes the same one to complete a request. Connections are ended without it, since their threads take it.
#pragma once

#include "status.h"

#include <cstddef>
#include <memory>

namespace zorvan::engine {

// From construction to destruction; at the end everything that was put off is done.
class EngineLock {
public:
    EngineLock();
    ~EngineLock();
    EngineLock(const EngineLock&) = delete;
    EngineLock& operator=(const EngineLock&) = delete;
};

// What can be released without the lock, in the order of its release: a handle before the process in which it lives.
class Releasable {
public:
    class Chain {
    public:
        void append(std::shared_ptr<Releasable> object) noexcept;
        void release() noexcept;

    private:
        std::shared_ptr<Releasable> first_;
        Releasable* last_ = nullptr;
    };

    Releasable() = default;
    virtual ~Releasable() = default;
    Releasable(const Releasable&) = delete;
    Releasable& operator=(const Releasable&) = delete;

private:
    std::shared_ptr<Releasable> next_;
};

// The functions below are called with the lock held.

// Comes before anything is done for a request: what follows may not fail for lack of memory, as the request could
// never be completed then. Throws std::bad_alloc.
void expectCompletion();
void completeLater(void* request, Status status, std::size_t size = 0) noexcept;
void releaseLater(std::shared_ptr<Releasable> object) noexcept;

// Without the lock, for a request for which the first one of them failed.
void completeUnexpected(void* request, Status status);

// Before the first request comes.
void setCompletion(CompleteRequest complete);

} // namespace zorvan::engine
