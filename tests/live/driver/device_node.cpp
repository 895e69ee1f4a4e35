#include "device_node.h"

#include "pnp/creation.h"
#include "pnp/enumeration.h"
#include "pnp/port_name.h"
#include "pnp/removal.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace zorvan::test {
namespace {

constexpr unsigned kFirstTestPort = 200;
constexpr ULONGLONG kStartTimeout = 20'000; // milliseconds

pnp::DeviceIdentity openWhenStarted(const std::wstring& instanceId) {
    const auto deadline = GetTickCount64() + kStartTimeout;
    do {
        auto present = pnp::enumeratePresentDevices();
        for (auto& record : present.records)
            if (record.instanceId == instanceId)
                return pnp::openDevice(present.set.get(), record.device, instanceId);
        Sleep(50);
    } while (GetTickCount64() < deadline);
    throw std::runtime_error("the driver did not start the device");
}

} // namespace

std::wstring testPortName(unsigned number) {
    return pnp::portName(kFirstTestPort + number);
}

DeviceNode::DeviceNode(unsigned number) : identity_(openWhenStarted(pnp::createDeviceNode(kFirstTestPort + number))) {
    EXPECT_TRUE(identity_.alive);
}

void DeviceNode::remove() {
    if (!std::exchange(removed_, true)) {
        EXPECT_NO_THROW(pnp::removeDeviceNode(controlPath()));
    }
}

} // namespace zorvan::test
