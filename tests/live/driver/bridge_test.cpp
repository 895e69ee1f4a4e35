// Bridges: what both ends say of one, how it ends, what it refuses, and bytes that are disturbed on their way.
#include "control_client.h"

#include <bit>

namespace zorvan::test {
namespace {

using protocol::Query;
using protocol::Set;

protocol::Bytes endpoint(const std::wstring& server, const std::wstring& port) {
    return protocol::RecordWriter().appendString(server).appendString(port).append(std::uint32_t{0}).bytes();
}

class Bridge : public TestOf<TwoPorts> {
protected:
    void join() const { EXPECT_EQ(client.bridgeTo(partnerDevice.portName()), 0u); }

    void expectBridged() const {
        EXPECT_EQ(client.mode(), kBridge);
        EXPECT_EQ(partner.mode(), kBridge);
        EXPECT_EQ(client.ask<std::uint32_t>(Query::Pair), partner.hostProcessId());
        EXPECT_EQ(partner.ask<std::uint32_t>(Query::Pair), client.hostProcessId());
    }
};

TEST_F(Bridge, IsKnownAtBothEnds) {
    join();
    expectBridged();
    EXPECT_EQ(client.query(Query::RemoteEndpoint), endpoint(L".", partnerDevice.portName()));
    EXPECT_EQ(partner.query(Query::RemoteEndpoint), endpoint(L".", device.portName()));
    EXPECT_EQ(partner.set(Set::PortName, textRecord(testPortName(5))), 0u);
    EXPECT_EQ(client.query(Query::RemoteEndpoint), endpoint(L".", testPortName(5)));
    expectBridged();

    wchar_t computer[256];
    DWORD size = 256;
    ASSERT_TRUE(GetComputerNameExW(ComputerNameDnsHostname, computer, &size));
    EXPECT_EQ(client.listen(), 0u);
    EXPECT_EQ(client.bridgeTo(testPortName(5), computer), 0u);
    EXPECT_EQ(client.query(Query::RemoteEndpoint), endpoint(computer, testPortName(5)));
    expectBridged();
}

TEST_F(Bridge, EndsAtBothEnds) {
    for (const auto* end : {&client, &partner})
        for (const bool listen : {false, true}) {
            join();
            EXPECT_EQ(listen ? end->listen() : end->set(Set::Disconnect), 0u);
            EXPECT_EQ(client.mode(), kListening);
            EXPECT_EQ(partner.mode(), kListening);
            EXPECT_EQ(client.ask<std::uint32_t>(Query::Pair), 0u);
            EXPECT_EQ(partner.ask<std::uint32_t>(Query::Pair), 0u);
        }
    join();
    partnerDevice.remove();
    EXPECT_EQ(client.mode(), kListening);
    EXPECT_TRUE(client.query(Query::RemoteEndpoint).empty());
    EXPECT_EQ(client.bridgeTo(partnerDevice.portName()), DWORD{ERROR_FILE_NOT_FOUND});
}

TEST_F(Bridge, IsRefusedWhereItIsImpossible) {
    join();
    const DeviceNode third{2u};
    const ControlClient thirdClient(third.controlPath());
    EXPECT_EQ(thirdClient.bridgeTo(partnerDevice.portName()), DWORD{ERROR_CONNECTION_ACTIVE});
    EXPECT_EQ(thirdClient.mode(), kListening);
    expectBridged();
}

using Crossover = TestOf<OpenBridge>;

TEST_F(Crossover, TurnsBitsOverWhereTheyArrive) {
    const auto half = record(protocol::ErrorEmulationShort{protocol::kBitCrossover, 1, 500});
    EXPECT_EQ(partner.set(Set::ErrorEmulation, half), 0u);
    const std::string zeros(100'000, '\0');
    const auto write = here.startWrite(zeros);
    const auto reply = there.startWrite(zeros);
    EXPECT_EQ(here.read(zeros.size()).data, zeros);
    std::size_t turned = 0;
    for (const char byte : there.read(zeros.size()).data)
        turned += static_cast<std::size_t>(std::popcount(static_cast<unsigned char>(byte)));
    EXPECT_NEAR(static_cast<double>(turned), 400'000.0, 3'000.0) << "more than six standard deviations";
}

} // namespace
} // namespace zorvan::test
