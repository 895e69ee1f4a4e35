// Creates two virtual COM ports, shows and sets their properties, and deletes them again.
//
// An early-bound client: it calls the interfaces of zorvanlib.h directly. Ends with status 0 when everything went as
// described, otherwise with 1; it leaves no port of its own behind.
#include "client.h"

#include <cmath>
#include <cstdio>
#include <iterator>
#include <stdexcept>

namespace {

constexpr wchar_t kChosenName[] = L"COM23";
constexpr HRESULT kNumberIsTaken = static_cast<HRESULT>(0x800702BA);

void printRow(IVirtualSerialDevice& device) {
    static const char* const kModes[] = {"broken", "listening", "pipe", "bridge", "handles"};
    VirtualSerialDeviceMode mode{};
    VARIANT_BOOL enabled = VARIANT_FALSE;
    check(device.get_mode(&mode), "mode");
    check(device.get_enabled(&enabled), "enabled");
    const auto [connections, sent, received] = counters(device);
    std::printf(
        "  %-7ls %-10s %-8s %-12llu %-5llu %-9llu %ls\n", portName(device).c_str(),
        static_cast<size_t>(mode) < std::size(kModes) ? kModes[mode] : "unknown", enabled ? "yes" : "no", connections,
        sent, received, textOf(device, &IVirtualSerialDevice::get_path).c_str());
}

// Prints all ports that the library knows and returns whether the chosen one is among them.
bool printTable(IVirtualSerialLibrary& library) {
    ComPtr<IDeviceCollection> ports;
    check(library.get_devicesCollection(&ports), "devicesCollection");
    long count = 0;
    check(ports->get_Count(&count), "Count");
    std::puts("\n  name    mode       enabled  connections  sent  received  path");
    bool found = false;
    for (long i = 0; i < count; ++i) {
        VARIANT index{};
        index.vt = VT_I4;
        index.lVal = i;
        ComPtr<IVirtualSerialDevice> device;
        check(ports->get_Item(index, &device), "Item");
        const auto name = portName(*device.Get());
        found = found || name == kChosenName;
        try {
            printRow(*device.Get());
        } catch (const std::runtime_error&) {
            std::printf("  %-7ls gone\n", name.c_str()); // a port of another program may go at any time
        }
    }
    std::puts(count == 0 ? "  (no ports)\n" : "");
    return found;
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
    expect(printTable(*library.Get()), "the table");

    std::printf("Setting properties of %ls\n", kChosenName);
    setProperties(chosen);
    expectRefusal(*library.Get(), kChosenName);

    ports.deleteAll();
    // A library object looks at the system when it is created; a new one sees what has gone. Ports of other programs
    // may be there.
    expect(!printTable(*createLibrary().Get()), "the ports that are left");
}

} // namespace

int wmain() {
    return runExample(demonstrate);
}
