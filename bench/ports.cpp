#include "ports.h"

#include "pnp/creation.h"
#include "support/port_control.h"

namespace zorvan::bench {

namespace {

constexpr int kLooks = 600;
constexpr DWORD kPauseMs = 50;

void awaitPorts(std::size_t count) {
    for (int look = 0; look < kLooks; ++look) {
        if (devicesOf(*createLibrary().Get()).size() == count)
            return;
        Sleep(kPauseMs);
    }
    expect(false, "the ports that were made are not all there, and no others");
}

} // namespace

void haveThisManyPorts(long count) {
    const auto wanted = static_cast<std::size_t>(count);
    for (auto there = devicesOf(*createLibrary().Get()).size(); there < wanted; ++there)
        pnp::createDeviceNode(0);
    awaitPorts(wanted);
}

void deleteAllPorts() {
    for (const auto& device : devicesOf(*createLibrary().Get()))
        check(device->deleteDevice(), "deleting a port");
    awaitPorts(0);
}

std::vector<Device> devicesOf(IVirtualSerialLibrary& library) {
    ComPtr<IDeviceCollection> collection;
    check(library.get_devicesCollection(collection.GetAddressOf()), "devicesCollection");
    VARIANT index{};
    index.vt = VT_I4;
    long count = 0;
    check(collection->get_Count(&count), "Count");
    std::vector<Device> devices(static_cast<std::size_t>(count));
    for (auto& device : devices) {
        check(collection->get_Item(index, device.GetAddressOf()), "Item");
        ++index.lVal;
    }
    return devices;
}

std::wstring controlPath(IVirtualSerialDevice& device) {
    return devkit::controlPathOf(portName(device));
}

} // namespace zorvan::bench
