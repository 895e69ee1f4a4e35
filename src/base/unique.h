// The one owner of system resources. A kind of resource is a traits type and a one-line alias of Unique.
#pragma once

#include <windows.h>

#include <utility>

namespace zorvan {

// Traits: a type Value; invalid(), the value that means "none"; close(Value).
// Closing never changes the thread's last error, so that an error can be read after its clean-up.
template <class Traits>
class Unique {
public:
    using Value = typename Traits::Value;

    Unique() = default;
    explicit Unique(Value value) : value_(value) {}
    Unique(Unique&& other) noexcept : value_(other.release()) {}
    Unique& operator=(Unique&& other) noexcept {
        if (this != &other)
            reset(other.release());
        return *this;
    }
    Unique(const Unique&) = delete;
    Unique& operator=(const Unique&) = delete;
    ~Unique() { reset(); }

    explicit operator bool() const { return value_ != Traits::invalid(); }
    Value get() const { return value_; }
    Value release() { return std::exchange(value_, Traits::invalid()); }

    void reset(Value value = Traits::invalid()) {
        const Value old = std::exchange(value_, value);
        if (old == Traits::invalid())
            return;
        const DWORD lastError = GetLastError();
        Traits::close(old);
        SetLastError(lastError);
    }

    // For a system call that returns the resource through a pointer.
    Value* put() {
        reset();
        return &value_;
    }

private:
    Value value_ = Traits::invalid();
};

struct HandleTraits {
    using Value = HANDLE;
    static Value invalid() { return nullptr; }
    static void close(Value handle) { CloseHandle(handle); }
};
using UniqueHandle = Unique<HandleTraits>;

struct RegistryKeyTraits {
    using Value = HKEY;
    static Value invalid() { return nullptr; }
    static void close(Value key) { RegCloseKey(key); }
};
using UniqueRegistryKey = Unique<RegistryKeyTraits>;

// Memory that the system allocated with LocalAlloc.
struct LocalMemoryTraits {
    using Value = void*;
    static Value invalid() { return nullptr; }
    static void close(Value memory) { LocalFree(memory); }
};
using UniqueLocalMemory = Unique<LocalMemoryTraits>;

// CreateFile and its like say INVALID_HANDLE_VALUE where everything else says null.
inline UniqueHandle fileHandle(HANDLE file) {
    return UniqueHandle(file == INVALID_HANDLE_VALUE ? nullptr : file);
}

} // namespace zorvan
