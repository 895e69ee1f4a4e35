// The process that stands for one port: clients open it by its ID and duplicate into it the handles they hand over.
#pragma once

#include "base/unique.h"

#include <cstdint>
#include <memory>

namespace zorvan::engine {

// Runs from construction to destruction; ending it closes every handle it was given.
class PortProcess {
public:
    PortProcess();
    ~PortProcess();
    PortProcess(const PortProcess&) = delete;
    PortProcess& operator=(const PortProcess&) = delete;

    std::uint32_t id() const { return id_; }
    bool running() const;

    // Null when the value is no handle of the host process.
    UniqueHandle copyHandle(std::uint64_t value) const;
    void closeHandle(std::uint64_t value) const;

private:
    UniqueHandle duplicateHere(std::uint64_t value, DWORD options) const;

    UniqueHandle process_;
    std::uint32_t id_ = 0;
};

// A handle that a client has handed over, with the engine's own copy of it. Both are closed with this object.
class HostHandle {
public:
    HostHandle() = default;
    // Empty when the value is no handle of the host process.
    HostHandle(std::shared_ptr<const PortProcess> host, std::uint64_t value);
    HostHandle(HostHandle&& other) noexcept;
    HostHandle& operator=(HostHandle&& other) noexcept;
    HostHandle(const HostHandle&) = delete;
    HostHandle& operator=(const HostHandle&) = delete;
    ~HostHandle();

    explicit operator bool() const { return static_cast<bool>(copy_); }
    std::uint64_t value() const { return value_; }
    HANDLE copy() const { return copy_.get(); }
    UniqueHandle releaseCopy() { return std::move(copy_); }

private:
    std::shared_ptr<const PortProcess> host_; // null when there is nothing to close
    std::uint64_t value_ = 0;
    UniqueHandle copy_;
};

} // namespace zorvan::engine
