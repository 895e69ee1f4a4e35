// Creates two virtual COM ports, shows and sets their properties, and deletes them again.
//
// An early-bound client: it calls the interfaces of zorvanlib.h directly. Ends with status 0 when everything went as
// described, otherwise with 1; it leaves no port of its own behind.
#include <windows.h>

#include <zorvanlib.h>

#include <cmath>
#include <cstdio>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>
#include <wrl/client.h>

using Microsoft::WRL::ComPtr;

namespace {

constexpr wchar_t kChosenName[] = L"COM23";
constexpr HRESULT kNumberIsTaken = static_cast<HRESULT>(0x800702BA);

struct ComApartment {
    ComApartment() : result(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
    ComApartment(const ComApartment&) = delete;
    ComApartment& operator=(const ComApartment&) = delete;
    ~ComApartment() {
        if (SUCCEEDED(result))
            CoUninitialize();
    }

    HRESULT result;
};

struct BstrDeleter {
    void operator()(OLECHAR* text) const { SysFreeString(text); }
};
using Bstr = std::unique_ptr<OLECHAR, BstrDeleter>;

Bstr makeBstr(const wchar_t* text) {
    return Bstr(SysAllocString(text));
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

std::wstring textOf(IVirtualSerialDevice& device, HRESULT (IVirtualSerialDevice::*property)(BSTR*)) {
    BSTR text = nullptr;
    check((device.*property)(&text), "reading a text property");
    const Bstr owner(text);
    return std::wstring(text, SysStringLen(text));
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

// The ports that this program has created. Deletes those that are left when it ends early.
class CreatedPorts {
public:
    CreatedPorts() = default;
    CreatedPorts(const CreatedPorts&) = delete;
    CreatedPorts& operator=(const CreatedPorts&) = delete;
    ~CreatedPorts() {
        for (const auto& device : devices_)
            device->deleteDevice(); // on the way out of a failure, which has been reported already
    }

    IVirtualSerialDevice& create(IVirtualSerialLibrary& library, const wchar_t* name) {
        ComPtr<IVirtualSerialDevice> device;
        check(createPort(library, name, device), "creating a port");
        std::printf("  %ls\n", textOf(*device.Get(), &IVirtualSerialDevice::get_portName).c_str());
        devices_.push_back(device);
        return *device.Get();
    }

    void deleteAll() {
        while (!devices_.empty()) {
            const auto device = devices_.back();
            devices_.pop_back();
            std::printf("Deleting %ls\n", textOf(*device.Get(), &IVirtualSerialDevice::get_portName).c_str());
            check(device->deleteDevice(), "deleting a port");
        }
    }

private:
    std::vector<ComPtr<IVirtualSerialDevice>> devices_;
};

void printRow(IVirtualSerialDevice& device) {
    static const char* const kModes[] = {"broken", "listening", "pipe", "bridge", "handles"};
    VirtualSerialDeviceMode mode{};
    VARIANT_BOOL enabled = VARIANT_FALSE;
    unsigned __int64 connections = 0;
    unsigned __int64 sent = 0;
    unsigned __int64 received = 0;
    check(device.get_mode(&mode), "mode");
    check(device.get_enabled(&enabled), "enabled");
    check(device.get_connections(&connections), "connections");
    check(device.get_bytesSent(&sent), "bytesSent");
    check(device.get_bytesReceived(&received), "bytesReceived");
    std::printf(
        "  %-7ls %-10s %-8s %-12llu %-5llu %-9llu %ls\n", textOf(device, &IVirtualSerialDevice::get_portName).c_str(),
        static_cast<size_t>(mode) < std::size(kModes) ? kModes[mode] : "unknown", enabled ? "yes" : "no", connections,
        sent, received, textOf(device, &IVirtualSerialDevice::get_path).c_str());
}

// Prints all ports that the library knows and returns how many they are.
long printTable(IVirtualSerialLibrary& library) {
    ComPtr<IDeviceCollection> ports;
    check(library.get_devicesCollection(&ports), "devicesCollection");
    long count = 0;
    check(ports->get_Count(&count), "Count");
    std::puts("\n  name    mode       enabled  connections  sent  received  path");
    for (long i = 0; i < count; ++i) {
        VARIANT index{};
        index.vt = VT_I4;
        index.lVal = i;
        ComPtr<IVirtualSerialDevice> device;
        check(ports->get_Item(index, &device), "Item");
        printRow(*device.Get());
    }
    std::puts(count == 0 ? "  (no ports)\n" : "");
    return count;
}

void setProperties(IVirtualSerialDevice& device) {
    VARIANT_BOOL flag = VARIANT_TRUE;
    check(device.put_enabled(VARIANT_FALSE), "setting enabled");
    check(device.get_enabled(&flag), "enabled");
    std::printf("  enabled = %s\n", flag ? "yes" : "no");
    expect(flag == VARIANT_FALSE, "enabled");
    check(device.put_enabled(VARIANT_TRUE), "setting enabled");

    double probability = 0;
    check(device.put_crossoverProbability(0.125), "setting crossoverProbability");
    check(device.get_crossoverProbability(&probability), "crossoverProbability");
    std::printf("  crossoverProbability = %.3f\n", probability);
    expect(std::abs(probability - 0.125) < 0.0005, "crossoverProbability");

    check(device.put_emulateTxOverflow(VARIANT_TRUE), "setting emulateTxOverflow");
    check(device.get_emulateTxOverflow(&flag), "emulateTxOverflow");
    std::printf("  emulateTxOverflow = %s\n", flag ? "yes" : "no");
    expect(flag == VARIANT_TRUE, "emulateTxOverflow");
}

void expectRefusal(IVirtualSerialLibrary& library, const wchar_t* name) {
    ComPtr<IVirtualSerialDevice> device;
    const HRESULT result = createPort(library, name, device);
    std::printf("Creating %ls, which is taken: error 0x%08lX\n", name, result);
    expect(result == kNumberIsTaken, "that result");
}

void demonstrate() {
    const auto library = createLibrary();
    CreatedPorts ports;

    std::puts("Creating a port with a number of the system's choice");
    ports.create(*library.Get(), nullptr);
    std::printf("Creating %ls by name\n", kChosenName);
    auto& chosen = ports.create(*library.Get(), kChosenName);
    const long count = printTable(*library.Get());

    std::printf("Setting properties of %ls\n", kChosenName);
    setProperties(chosen);
    expectRefusal(*library.Get(), kChosenName);

    ports.deleteAll();
    // A library object looks at the system when it is created; a new one sees what has gone.
    expect(printTable(*createLibrary().Get()) == count - 2, "the number of ports that are left");
}

} // namespace

int wmain() {
    const ComApartment apartment;
    try {
        check(apartment.result, "initialising COM");
        demonstrate();
        std::puts("All as expected.");
        return 0;
    } catch (const std::exception& error) {
        std::printf("FAILED: %s\n", error.what());
        return 1;
    }
}
