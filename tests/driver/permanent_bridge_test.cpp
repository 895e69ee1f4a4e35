// Bridges that outlive their partner and the driver.
#include "control_client.h"
#include "device_node.h"
#include "driver_process.h"
#include "serial_client.h"

#include <gtest/gtest.h>

namespace zorvan::test {
namespace {

using protocol::Query;
using protocol::Set;

class PermanentBridge : public testing::Test {
protected:
    PermanentBridge() {
        const auto record = bridgeRecord(partnerDevice->portName(), L".", 1);
        EXPECT_EQ(client.set(Set::CreateBridge, record), 0u);
    }

    static void expectBridged(const DeviceNode& one, const DeviceNode& other) {
        const ControlClient client(one.controlPath());
        const ControlClient partner(other.controlPath());
        EXPECT_EQ(client.mode(), kBridge);
        EXPECT_EQ(partner.mode(), kBridge);
        EXPECT_EQ(client.ask<std::uint32_t>(Query::Pair), partner.hostProcessId());
        const SerialClient here(one.portName());
        const SerialClient there(other.portName());
        EXPECT_TRUE(here.write(bytesOf("still")).ok());
        EXPECT_EQ(there.read(5).data, bytesOf("still"));
    }

    void recreatePartner() {
        partnerDevice->remove();
        EXPECT_EQ(client.mode(), kListening);
        partnerDevice.emplace(1u);
    }

    DeviceNode device{0u};
    std::optional<DeviceNode> partnerDevice{std::in_place, 1u};
    ControlClient client{device.controlPath()};
};

TEST_F(PermanentBridge, OutlivesItsPartnerAndTheDriver) {
    recreatePartner();
    expectBridged(device, *partnerDevice);
    const DeviceNode bystander(2u);
    restartDriver(client);
    expectBridged(device, *partnerDevice);
    EXPECT_EQ(ControlClient(bystander.controlPath()).mode(), kListening);
}

TEST_F(PermanentBridge, IsForgottenWhenEitherEndIsToldOtherwise) {
    EXPECT_EQ(ControlClient(partnerDevice->controlPath()).set(Set::Disconnect), 0u);
    recreatePartner();
    EXPECT_EQ(client.mode(), kListening);

    EXPECT_EQ(client.set(Set::CreateBridge, bridgeRecord(partnerDevice->portName(), L".", 1)), 0u);
    partnerDevice->remove();
    EXPECT_EQ(client.listen(), 0u) << "while the partner is away";
    partnerDevice.emplace(1u);
    EXPECT_EQ(client.mode(), kListening);

    EXPECT_EQ(client.bridgeTo(partnerDevice->portName()), 0u) << "not permanent";
    recreatePartner();
    EXPECT_EQ(client.mode(), kListening);
}

} // namespace
} // namespace zorvan::test
