#include "client.h"

#include <cstdio>
#include <stdexcept>

ComApartment::ComApartment() {
    check(CoInitializeEx(nullptr, COINIT_MULTITHREADED), "initialising COM");
}

Bstr makeBstr(const std::wstring& text) {
    return Bstr(SysAllocString(text.c_str()));
}

void check(HRESULT result, const char* what) {
    if (SUCCEEDED(result))
        return;
    char message[100];
    std::snprintf(message, sizeof message, "%s: error 0x%08lX", what, result);
    throw std::runtime_error(message);
}

void expect(bool holds, const char* what) {
    if (!holds)
        throw std::runtime_error(std::string("not as expected: ") + what);
}

ComPtr<IVirtualSerialLibrary> createLibrary() {
    ComPtr<IVirtualSerialLibrary> library;
    check(
        CoCreateInstance(
            __uuidof(VirtualSerialLibrary), nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(library.GetAddressOf())),
        "creating the library object (is zorvanlib.dll registered?)");
    return library;
}

// An automatic number is asked for with an argument that is left out, which COM spells as an error value.
HRESULT createPort(IVirtualSerialLibrary& library, const wchar_t* name, ComPtr<IVirtualSerialDevice>& device) {
    VARIANT argument{};
    const Bstr text = name != nullptr ? makeBstr(name) : nullptr;
    if (text) {
        argument.vt = VT_BSTR;
        argument.bstrVal = text.get();
    } else {
        argument.vt = VT_ERROR;
        argument.scode = DISP_E_PARAMNOTFOUND;
    }
    return library.createDevice(argument, device.ReleaseAndGetAddressOf());
}

std::wstring textOf(IVirtualSerialDevice& device, HRESULT (IVirtualSerialDevice::*property)(BSTR*)) {
    BSTR text = nullptr;
    check((device.*property)(&text), "reading a text property");
    const Bstr owner(text);
    return std::wstring(text, SysStringLen(text));
}

Counters counters(IVirtualSerialDevice& device) {
    Counters counters;
    check(device.get_connections(&counters.connections), "connections");
    check(device.get_bytesSent(&counters.bytesSent), "bytesSent");
    check(device.get_bytesReceived(&counters.bytesReceived), "bytesReceived");
    return counters;
}

CreatedPorts::~CreatedPorts() {
    for (const auto& device : devices_)
        device->deleteDevice(); // on the way out of a failure, which has been reported already
}

IVirtualSerialDevice& CreatedPorts::create(IVirtualSerialLibrary& library, const wchar_t* name) {
    ComPtr<IVirtualSerialDevice> device;
    check(createPort(library, name, device), "creating a port");
    std::printf("  %ls\n", portName(*device.Get()).c_str());
    devices_.push_back(device);
    return *device.Get();
}

void CreatedPorts::deleteAll() {
    while (!devices_.empty()) {
        const auto device = devices_.back();
        devices_.pop_back();
        std::printf("Deleting %ls\n", portName(*device.Get()).c_str());
        check(device->deleteDevice(), "deleting a port");
    }
}

int runExample(void (*demonstrate)()) {
    try {
        const ComApartment apartment;
        demonstrate();
        std::puts("All as expected.");
        return 0;
    } catch (const std::exception& error) {
        std::printf("FAILED: %s\n", error.what());
        return 1;
    }
}
