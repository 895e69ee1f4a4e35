// A counted reference to a COM object.
#pragma once

#include <unknwn.h>

#include <type_traits>
#include <utility>

namespace zorvan {

template <class Interface>
class ComPointer {
public:
    ComPointer() = default;
    explicit ComPointer(Interface* pointer) : pointer_(pointer) {
        if (pointer_ != nullptr)
            pointer_->AddRef();
    }
    ComPointer(const ComPointer& other) : ComPointer(other.pointer_) {}
    ComPointer(ComPointer&& other) noexcept : pointer_(other.detach()) {}
    template <class Derived>
    requires std::is_convertible_v<Derived*, Interface*> ComPointer(ComPointer<Derived> other)
    noexcept : pointer_(other.detach()) {}
    ComPointer& operator=(ComPointer other) noexcept {
        std::swap(pointer_, other.pointer_);
        return *this;
    }
    ~ComPointer() {
        if (pointer_ != nullptr)
            pointer_->Release();
    }

    // Takes over a reference that the caller owns.
    static ComPointer attach(Interface* pointer) {
        ComPointer result;
        result.pointer_ = pointer;
        return result;
    }

    // Hands the reference to the caller, for instance as an out-parameter.
    Interface* detach() { return std::exchange(pointer_, nullptr); }

    // For a call that returns a reference through a pointer.
    Interface** put() {
        *this = {};
        return &pointer_;
    }

    Interface* get() const { return pointer_; }
    Interface* operator->() const { return pointer_; }
    Interface& operator*() const { return *pointer_; }
    explicit operator bool() const { return pointer_ != nullptr; }

private:
    Interface* pointer_ = nullptr;
};

} // namespace zorvan
