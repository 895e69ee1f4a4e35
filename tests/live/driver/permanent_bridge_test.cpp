// What outlives the driver: settings and permanent bridges.
#include "base/hresult_error.h"
#include "control_client.h"
#include "support/process_figures.h"

namespace zorvan::test {
namespace {

using protocol::Query;
using protocol::Set;

// The system starts a driver that is not running when one of its devices is installed, and gives it all of them.
void restartDriver(const ControlClient& port) {
    const UniqueHandle driver(OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, devkit::portProcesses().driver.id));
    ASSERT_TRUE(TerminateProcess(driver.get(), 1)) << GetLastError();
    ASSERT_EQ(WaitForSingleObject(driver.get(), kPatience), DWORD{WAIT_OBJECT_0});
    const DeviceNode starter(99u);
    const auto deadline = GetTickCount64() + kPatience;
    while (FAILED(comBoundary([&] { port.mode(); })) && GetTickCount64() < deadline)
        Sleep(50);
}

using Settings = TestOf<TwoPorts>;

TEST_F(Settings, OutliveTheDriverButNotTheDevice) {
    const std::tuple<Set, protocol::Bytes, Query, protocol::Bytes> rows[] = {
        {Set::Enabled, {0}, Query::Enabled, {0}},
        {Set::ErrorEmulation, record(protocol::ErrorEmulationShort{protocol::kBitCrossover, 1, 7}),
         Query::ErrorEmulation, record(protocol::ErrorEmulationState{1, 7})},
        {Set::ErrorEmulationLong, record(protocol::ErrorEmulationLong{protocol::kTransmitOverflow, 1, 0}),
         Query::ErrorEmulationLong, record(protocol::ErrorEmulationLong{protocol::kTransmitOverflow, 1, 0})},
        {Set::StartListening, textRecord(L"D:(A;;GA;;;WD)"), Query::SecurityDescriptor,
         textRecord(L"D:(A;;GA;;;WD)")},
    };
    for (const auto& [set, input, query, reply] : rows)
        EXPECT_EQ(client.set(set, input), 0u);
    restartDriver(client);
    for (const auto& [set, input, query, reply] : rows)
        EXPECT_EQ(client.query(query), reply) << static_cast<std::uint32_t>(query);
    EXPECT_FALSE(openPath(L"\\\\.\\" + device.portName()));
    device.remove();
    const DeviceNode successor(0u);
    for (const auto& [set, input, query, reply] : rows)
        EXPECT_EQ(ControlClient(successor.controlPath()).query(query), partner.query(query));
}

class PermanentBridge : public TestOf<TwoPorts> {
protected:
    PermanentBridge() { join(partnerDevice, 1); }

    void join(const DeviceNode& other, std::uint8_t permanent) const {
        EXPECT_EQ(client.bridgeTo(other.portName(), protocol::kLocalServer, permanent), 0u);
    }

    void expectBridged(const DeviceNode& other) const {
        EXPECT_EQ(client.mode(), kBridge);
        EXPECT_EQ(client.ask<std::uint32_t>(Query::Pair), ControlClient(other.controlPath()).hostProcessId());
        const SerialClient here(device.portName());
        const SerialClient there(other.portName());
        send(here.get(), there.get(), "still");
    }
};

TEST_F(PermanentBridge, OutlivesItsPartnerAndTheDriver) {
    partnerDevice.remove();
    EXPECT_EQ(client.mode(), kListening);
    const DeviceNode again(1u);
    expectBridged(again);
    const DeviceNode bystander(2u);
    restartDriver(client);
    expectBridged(again);
    EXPECT_EQ(ControlClient(bystander.controlPath()).mode(), kListening);
}

TEST_F(PermanentBridge, IsForgottenWhenEitherEndIsToldOtherwise) {
    EXPECT_EQ(partner.set(Set::Disconnect), 0u);
    partnerDevice.remove();
    {
        const DeviceNode again(1u);
        EXPECT_EQ(client.mode(), kListening);
        join(again, 1);
    }
    EXPECT_EQ(client.listen(), 0u) << "while the partner is away";
    {
        const DeviceNode again(1u);
        EXPECT_EQ(client.mode(), kListening);
        join(again, 0);
    }
    const DeviceNode again(1u);
    EXPECT_EQ(client.mode(), kListening);
}

} // namespace
} // namespace zorvan::test
