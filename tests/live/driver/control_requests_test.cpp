// What each control request answers and refuses.
#include "control_client.h"

namespace zorvan::test {
namespace {

using protocol::Bytes;
using protocol::ErrorEmulationLong;
using protocol::ErrorEmulationShort;
using protocol::Query;
using protocol::Set;

const std::vector<std::uint16_t> kNullModem(protocol::kNullModem.begin(), protocol::kNullModem.end());

class ControlRequests : public TestOf<TwoPorts> {
protected:
    ControlRequests() { expectDefaults(); }

    void expectDefaults() const;
};

void ControlRequests::expectDefaults() const {
    EXPECT_EQ(client.mode(), kListening);
    EXPECT_EQ(client.query(Query::Pair), record(std::uint32_t{0}));
    for (const auto query : {Query::PipeHandle, Query::FileHandles, Query::RemoteEndpoint})
        EXPECT_TRUE(client.query(query).empty());
    EXPECT_EQ(client.query(Query::Traffic), record(protocol::TrafficCounters{}));
    EXPECT_EQ(client.query(Query::SecurityDescriptor), textRecord(L"D:AR(A;;CC;;;WD)"));
    EXPECT_EQ(client.query(Query::Enabled), Bytes{1});
    EXPECT_EQ(client.query(Query::PinConnections), pinRecord(kNullModem));
    EXPECT_EQ(client.query(Query::ErrorEmulation), record(protocol::ErrorEmulationState{}));
    EXPECT_EQ(client.query(Query::ErrorEmulationLong), record(ErrorEmulationLong{1, 0, 0}));
}

// A refused request leaves everything as it was.
TEST_F(ControlRequests, MalformedRecordsAreRefused) {
    const auto whole = bridgeRecord(partnerDevice.portName(), L".", 0);
    const std::pair<Set, Bytes> rows[] = {
        {Set::CreateBridge, {whole.begin(), whole.end() - 1}},
        {Set::CreateBridge, bridgeRecord(device.portName(), L".", 0)},
        {Set::PortName, record(std::uint32_t{0xFFFFFFFF}, L'C')},
        {Set::StartListening, textRecord(L"everybody")},
        {Set::Enabled, {2}},
        {Set::Enabled, {1, 1}},
        {Set::PinConnections, pinRecord({0x0001, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})}, // DTR drives DTR
        {Set::ErrorEmulation, record(ErrorEmulationShort{0x11, 1, 501})},
    };
    for (const auto& [code, input] : rows)
        EXPECT_EQ(client.set(code, input), DWORD{ERROR_INVALID_PARAMETER}) << testing::PrintToString(input);
    expectDefaults();
}

} // namespace
} // namespace zorvan::test
