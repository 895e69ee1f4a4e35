// What the compiled examples share: a COM apartment, checked calls, and ports that are deleted at the end.
#pragma once

#include <windows.h>

#include <zorvanlib.h>

#include <memory>
#include <string>
#include <vector>
#include <wrl/client.h>

using Microsoft::WRL::ComPtr;

struct ComApartment {
    ComApartment();
    ComApartment(const ComApartment&) = delete;
    ComApartment& operator=(const ComApartment&) = delete;
    ~ComApartment() { CoUninitialize(); }
};

struct BstrDeleter {
    void operator()(OLECHAR* text) const { SysFreeString(text); }
};
using Bstr = std::unique_ptr<OLECHAR, BstrDeleter>;

Bstr makeBstr(const std::wstring& text);

// Both throw a std::runtime_error that says what did not go as it should.
void check(HRESULT result, const char* what);
void expect(bool holds, const char* what);

ComPtr<IVirtualSerialLibrary> createLibrary();

// A null name asks for a number of the system's choice.
HRESULT createPort(IVirtualSerialLibrary& library, const wchar_t* name, ComPtr<IVirtualSerialDevice>& device);

std::wstring textOf(IVirtualSerialDevice& device, HRESULT (IVirtualSerialDevice::*property)(BSTR*));
inline std::wstring portName(IVirtualSerialDevice& device) {
    return textOf(device, &IVirtualSerialDevice::get_portName);
}

struct Counters {
    unsigned __int64 connections = 0;
    unsigned __int64 bytesSent = 0;
    unsigned __int64 bytesReceived = 0;
};
Counters counters(IVirtualSerialDevice& device);

// The ports that a program has created. Deletes those that are left when it ends early.
class CreatedPorts {
public:
    CreatedPorts() = default;
    CreatedPorts(const CreatedPorts&) = delete;
    CreatedPorts& operator=(const CreatedPorts&) = delete;
    ~CreatedPorts();

    IVirtualSerialDevice& create(IVirtualSerialLibrary& library, const wchar_t* name);
    void deleteAll();

private:
    std::vector<ComPtr<IVirtualSerialDevice>> devices_;
};

// Runs the example; the status for main.
int runExample(void (*demonstrate)());
