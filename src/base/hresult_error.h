// The one exception type of the library, and the translator that stands at every COM method and export.
#pragma once

#include <windows.h>

#include <type_traits>
#include <utility>

namespace zorvan {

class HResultError {
public:
    explicit HResultError(HRESULT code) : code_(code) {}
    HRESULT code() const { return code_; }

private:
    HRESULT code_;
};

// HRESULT_FROM_WIN32 as a function. An error of 0 stays 0: oddity 1 of docs/architecture.md.
HRESULT hresultFromWin32(DWORD error);
HRESULT lastErrorResult();

[[noreturn]] void throwLastError();
void throwIfFailed(HRESULT result);

// Every out-pointer is looked at before anything else happens.
inline void requirePointer(const void* pointer) {
    if (pointer == nullptr)
        throw HResultError(E_POINTER);
}

// For use inside a catch block: what the caught exception is called at the COM boundary.
HRESULT caughtExceptionResult() noexcept;

// Runs the body of a COM method or export. The body returns its HRESULT, or nothing for S_OK.
template <class Body>
HRESULT comBoundary(Body&& body) noexcept {
    try {
        if constexpr (std::is_void_v<decltype(body())>) {
            std::forward<Body>(body)();
            return S_OK;
        } else {
            return std::forward<Body>(body)();
        }
    } catch (...) {
        return caughtExceptionResult();
    }
}

// Runs the body of a getter, which returns the value. Strings and objects are null whenever the getter does not give
// one, also when it fails without an error code; numbers stay what they were.
template <class Value, class Body>
HRESULT comGetter(Value* value, Body&& body) noexcept {
    return comBoundary([&] {
        requirePointer(value);
        if constexpr (std::is_pointer_v<Value>)
            *value = nullptr;
        *value = std::forward<Body>(body)();
    });
}

} // namespace zorvan
