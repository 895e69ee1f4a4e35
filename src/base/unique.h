// The one owner of system resources. A kind of resource is a one-line alias of Unique.
#pragma once

#include <windows.h>

#include <bit>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace zorvan {

template <class Result, class Parameter>
Parameter parameterOf(Result (*)(Parameter));

// Owns what the function closes. None is the value that means "none"; for a handle that may be a number.
// Closing never changes the thread's last error, so that an error can be read after its clean-up.
template <auto close, auto none = nullptr>
class Unique {
public:
    using Value = decltype(parameterOf(close));

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

    explicit operator bool() const { return value_ != invalid(); }
    Value get() const { return value_; }
    Value release() { return std::exchange(value_, invalid()); }

    void reset(Value value = invalid()) {
        const Value old = std::exchange(value_, value);
        if (old == invalid())
            return;
        const DWORD lastError = GetLastError();
        close(old);
        SetLastError(lastError);
    }

    // For a system call that returns the resource through a pointer.
    Value* put() {
        reset();
        return &value_;
    }

private:
    static Value invalid() {
        if constexpr (std::is_integral_v<decltype(none)>)
            return std::bit_cast<Value>(std::intptr_t{none});
        else
            return none;
    }

    Value value_ = invalid();
};

using UniqueHandle = Unique<CloseHandle>;
using UniqueRegistryKey = Unique<RegCloseKey>;
using UniqueLocalMemory = Unique<LocalFree>; // memory that the system allocated with LocalAlloc

// CreateFile and its like say INVALID_HANDLE_VALUE where everything else says null.
inline UniqueHandle fileHandle(HANDLE file) {
    return UniqueHandle(file == INVALID_HANDLE_VALUE ? nullptr : file);
}

} // namespace zorvan
