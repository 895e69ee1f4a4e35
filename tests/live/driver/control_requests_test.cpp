// What each control request answers and refuses.
#include "control_client.h"

namespace zorvan::test {
namespace {

using protocol::Bytes;
using protocol::ErrorEmulationLong;
using protocol::ErrorEmulationShort;
using protocol::Query;
using protocol::Set;

constexpr Query kQueries[] = {
    Query::HostProcessId, Query::Mode,           Query::Pair,           Query::PipeHandle,
    Query::FileHandles,   Query::RemoteEndpoint, Query::Traffic,        Query::SecurityDescriptor,
    Query::Enabled,       Query::PinConnections, Query::ErrorEmulation, Query::ErrorEmulationLong};

const std::vector<std::uint16_t> kNullModem(protocol::kNullModem.begin(), protocol::kNullModem.end());

using ControlRequests = TestOf<TwoPorts>;

TEST_F(ControlRequests, AFreshPortHasTheDefaults) {
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

TEST_F(ControlRequests, AMalformedRecordIsRefusedAndChangesNothing) {
    std::vector<std::pair<Set, Bytes>> malformed{
        {Set::ConnectPipe, record(protocol::PipeConnection{4, 2})},
        {Set::CreateBridge, bridgeRecord(partnerDevice.portName(), L".", 2)},
        {Set::CreateBridge, bridgeRecord(device.portName(), L".", 0)},
        {Set::PortName, record(std::uint32_t{0xFFFFFFFF}, L'C')},
        {Set::StartListening, textRecord(L"everybody")},
        {Set::Enabled, {2}},
        {Set::PinConnections, pinRecord(std::vector<std::uint16_t>(11))},
        {Set::PinConnections, pinRecord({0x0040, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})}, // no such target
        {Set::PinConnections, pinRecord({0x0001, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})}, // DTR drives DTR
        {Set::ErrorEmulation, record(ErrorEmulationShort{0x10, 1, 100})},
        {Set::ErrorEmulation, record(ErrorEmulationShort{0x11, 1, 501})},
        {Set::ErrorEmulationLong, record(ErrorEmulationLong{0, 1, 0})},
    };
    const std::pair<Set, Bytes> wellFormed[] = {
        {Set::ConnectPipe, record(protocol::PipeConnection{4, 1})},
        {Set::Disconnect, {}},
        {Set::ConnectFiles, record(protocol::HostHandlePair{4, 8})},
        {Set::CreateBridge, bridgeRecord(partnerDevice.portName(), L".", 0)},
        {Set::PortName, textRecord(L"COM250")},
        {Set::HostEvent, record(std::uint64_t{4})},
        {Set::StartListening, textRecord(L"D:(A;;GA;;;WD)")},
        {Set::Enabled, {0}},
        {Set::PinConnections, pinRecord(kNullModem)},
        {Set::ErrorEmulation, record(ErrorEmulationShort{0x11, 1, 100})},
        {Set::ErrorEmulationLong, record(ErrorEmulationLong{1, 1, 0})},
    };
    // Cut short anywhere, and with a byte too many.
    for (const auto& [code, whole] : wellFormed)
        for (std::size_t size = 0; size <= whole.size() + 1; ++size)
            if (size != whole.size()) {
                malformed.emplace_back(code, whole);
                malformed.back().second.resize(size);
            }

    const auto snapshot = [&] {
        std::vector<Bytes> replies;
        for (const auto query : kQueries)
            replies.push_back(client.query(query));
        return replies;
    };
    const auto before = snapshot();
    for (const auto& [code, input] : malformed)
        EXPECT_EQ(client.set(code, input), DWORD{ERROR_INVALID_PARAMETER})
            << std::hex << static_cast<std::uint32_t>(code) << ": " << testing::PrintToString(input);
    EXPECT_EQ(snapshot(), before);
}

} // namespace
} // namespace zorvan::test
