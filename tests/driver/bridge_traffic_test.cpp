// Bytes over bridges.
#include "control_client.h"
#include "device_node.h"
#include "serial_client.h"

#include <gtest/gtest.h>

#include <bit>

namespace zorvan::test {
namespace {

using protocol::Query;
using protocol::RecordWriter;
using protocol::Set;

constexpr DWORD kNoSuchDevice = 433; // the toolchain's headers lack this error's name

class BridgeTraffic : public testing::Test {
protected:
    BridgeTraffic() { EXPECT_EQ(client.bridgeTo(partnerDevice.portName()), 0u); }

    DeviceNode device{0u};
    DeviceNode partnerDevice{1u};
    ControlClient client{device.controlPath()};
    ControlClient partner{partnerDevice.controlPath()};
};

TEST_F(BridgeTraffic, PassesBothWaysAndIsCounted) {
    const SerialClient here(device.portName());
    const SerialClient there(partnerDevice.portName());
    const auto question = pattern(300'000, 1);
    const auto answer = pattern(200'000, 2);
    const auto asked = here.startWrite(question);
    const auto answered = there.startWrite(answer);
    EXPECT_EQ(there.read(question.size()).data, question);
    EXPECT_EQ(here.read(answer.size()).data, answer);
    EXPECT_EQ(asked->wait().count, question.size());
    EXPECT_EQ(answered->wait().count, answer.size());

    const auto counters = client.ask<protocol::TrafficCounters>(Query::Traffic);
    EXPECT_EQ(counters.connections, 1u);
    EXPECT_EQ(counters.bytesSent, question.size());
    EXPECT_EQ(counters.bytesReceived, answer.size());
}

TEST_F(BridgeTraffic, WaitsForThePartnerToBeOpened) {
    const SerialClient here(device.portName());
    const auto write = here.startWrite(bytesOf("early"));
    EXPECT_FALSE(write->done());
    const SerialClient there(partnerDevice.portName());
    EXPECT_EQ(there.read(5).data, bytesOf("early"));
    EXPECT_TRUE(write->wait().ok());
}

TEST_F(BridgeTraffic, RequestsEndForTheRightReason) {
    SerialClient here(device.portName());
    const SerialClient there(partnerDevice.portName());
    const auto cancelled = there.startRead(5);
    EXPECT_TRUE(CancelIoEx(there.get(), cancelled->overlapped()));
    EXPECT_EQ(cancelled->wait().error, DWORD{ERROR_OPERATION_ABORTED});

    const auto purged = there.startRead(5);
    EXPECT_TRUE(PurgeComm(there.get(), PURGE_RXABORT));
    EXPECT_EQ(purged->wait().error, DWORD{ERROR_OPERATION_ABORTED});

    const auto removed = there.startRead(5);
    partnerDevice.remove();
    EXPECT_EQ(removed->wait().error, kNoSuchDevice);

    const auto closed = here.startWrite(bytesOf("nobody is there"));
    here.close();
    EXPECT_EQ(closed->wait().error, DWORD{ERROR_OPERATION_ABORTED});
}

// Half of the bits, which leaves nothing of the data, within six standard deviations.
TEST_F(BridgeTraffic, IsDisturbedWhereItArrives) {
    RecordWriter record;
    record.append(protocol::ErrorEmulationShort{protocol::kBitCrossover, 1, 500});
    EXPECT_EQ(partner.set(Set::ErrorEmulation, record.bytes()), 0u);
    const SerialClient here(device.portName());
    const SerialClient there(partnerDevice.portName());
    const Data zeros(125'000);
    const auto write = here.startWrite(zeros);
    const auto reply = there.startWrite(zeros);
    EXPECT_EQ(here.read(zeros.size()).data, zeros);
    int turned = 0;
    for (const auto byte : there.read(zeros.size()).data)
        turned += std::popcount(byte);
    EXPECT_NEAR(turned, 500'000, 6 * 500);
}

} // namespace
} // namespace zorvan::test
