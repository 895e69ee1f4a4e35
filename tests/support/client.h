// What a client of the library needs to be written shortly: guards for what it is given, ports of its own, and
// late-bound calls. What fails throws, where nothing else is said; in a test, that ends it as failed.
#pragma once

#include "base/com_pointer.h"
#include "expect.h"

#include <windows.h>

#include <oleauto.h>

#include <zorvanlib.h>

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

namespace zorvan::test {

// A string that the library returns, or one to give to it.
class Bstr {
public:
    Bstr() = default;
    explicit Bstr(const std::wstring& text) : text_(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {}
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;
    ~Bstr() { SysFreeString(text_); }

    BSTR* put() { return &text_; }
    BSTR get() const { return text_; }
    std::wstring text() const { return {text_, SysStringLen(text_)}; }

private:
    BSTR text_ = nullptr;
};

class Variant : public VARIANT {
public:
    Variant() : VARIANT() {}
    explicit Variant(const wchar_t* text) : Variant() {
        vt = VT_BSTR;
        bstrVal = SysAllocString(text);
    }
    explicit Variant(LONG number) : Variant() {
        vt = VT_I4;
        lVal = number;
    }
    Variant(Variant&& other) noexcept : VARIANT(other) { other.vt = VT_EMPTY; }
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;
    Variant& operator=(Variant&&) = delete;
    ~Variant() { VariantClear(this); }

    // What a script passes for an argument that it leaves out.
    static Variant omitted();
};

// In ASCII.
std::string describe(const std::wstring& text);

// Names and members as a script host uses them.
HRESULT dispatchId(IDispatch& object, const wchar_t* name, DISPID& id);
HRESULT dispatch(IDispatch& object, const wchar_t* name, WORD flags, std::vector<Variant> arguments, VARIANT* result);
HRESULT get(IDispatch& object, const wchar_t* name, VARIANT* result);
HRESULT put(IDispatch& object, const wchar_t* name, Variant value);

// So that a failed comparison shows 0x80070057 rather than a negative number: EXPECT_EQ(result(call), Result{...}).
struct Result {
    HRESULT code;
    bool operator==(const Result&) const = default;
};
inline std::ostream& operator<<(std::ostream& stream, Result result) {
    return stream << "0x" << std::hex << static_cast<unsigned long>(result.code);
}

#define EXPECT_RESULT(expected, call)                                                                                \
    EXPECT_EQ(::zorvan::test::Result{static_cast<HRESULT>(expected)}, ::zorvan::test::Result{call})
#define ASSERT_RESULT(expected, call)                                                                                \
    ASSERT_EQ(::zorvan::test::Result{static_cast<HRESULT>(expected)}, ::zorvan::test::Result{call})

// The value of a property that must be readable: read(*device, &IVirtualSerialDevice::get_mode).
template <class Object, class Interface, class Value>
Value read(Object& object, HRESULT (STDMETHODCALLTYPE Interface::*getter)(Value*)) {
    Value value{};
    require((object.*getter)(&value), "reading a value");
    return value;
}

template <class Object, class Interface>
std::wstring readText(Object& object, HRESULT (STDMETHODCALLTYPE Interface::*getter)(BSTR*)) {
    Bstr text;
    require((object.*getter)(text.put()), "reading a text");
    return text.text();
}

template <class Object, class Interface, class Value>
ComPointer<Value> readObject(Object& object, HRESULT (STDMETHODCALLTYPE Interface::*getter)(Value**)) {
    ComPointer<Value> value;
    require((object.*getter)(value.put()), "reading an object");
    return value;
}

inline std::wstring portName(IVirtualSerialDevice& device) {
    return readText(device, &IVirtualSerialDevice::get_portName);
}

// The devices that the library object knows now.
std::vector<ComPointer<IVirtualSerialDevice>> devicesOf(IVirtualSerialLibrary& library);

// As the system registers it.
ComPointer<IVirtualSerialLibrary> createRegisteredLibrary();

// A port that is deleted with this, unless it was deleted before.
class OwnPort {
public:
    // Without a name, the number is of the system's choice.
    explicit OwnPort(IVirtualSerialLibrary& library, const wchar_t* name = nullptr);
    OwnPort(const OwnPort&) = delete;
    OwnPort& operator=(const OwnPort&) = delete;
    ~OwnPort();

    IVirtualSerialDevice& device() const { return *device_; }
    void remove();

private:
    ComPointer<IVirtualSerialDevice> device_;
    bool removed_ = false;
};

} // namespace zorvan::test
