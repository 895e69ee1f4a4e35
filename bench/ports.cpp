#include "ports.h"

#include "pnp/creation.h"
#include "support/port_control.h"

namespace zorvan::bench {

namespace {

constexpr int kLooks = 600;
constexpr DWORD kPauseMs = 50;

void awaitPorts(std::size_t count) {
    for (int look = 0; look < kLooks; ++look) {
        if (devicesOf(*createRegisteredLibrary()).size() == count)
            return;
        Sleep(kPauseMs);
    }
    expect(false, "the ports that were made are not all there, and no others");
}

} // namespace

void haveThisManyPorts(long count) {
    const auto wanted = static_cast<std::size_t>(count);
    for (auto there = devicesOf(*createRegisteredLibrary()).size(); there < wanted; ++there)
        pnp::createDeviceNode(0);
    awaitPorts(wanted);
}

void deleteAllPorts() {
    for (const auto& device : devicesOf(*createRegisteredLibrary()))
        require(device->deleteDevice(), "deleting a port");
    awaitPorts(0);
}

std::wstring controlPath(IVirtualSerialDevice& device) {
    return devkit::controlPathOf(portName(device));
}

} // namespace zorvan::bench
