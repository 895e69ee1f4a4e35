// What each control request answers, changes and refuses.
#include "control_client.h"
#include "device_node.h"

#include <gtest/gtest.h>

#include <winioctl.h>

namespace zorvan::test {
namespace {

using protocol::Bytes;
using protocol::Query;
using protocol::RecordReader;
using protocol::RecordWriter;
using protocol::Set;

constexpr Query kQueries[] = {
    Query::HostProcessId, Query::Mode,           Query::Pair,           Query::PipeHandle,
    Query::FileHandles,   Query::RemoteEndpoint, Query::Traffic,        Query::SecurityDescriptor,
    Query::Enabled,       Query::PinConnections, Query::ErrorEmulation, Query::ErrorEmulationLong};

constexpr Set kSets[] = {Set::ConnectPipe,    Set::Disconnect,     Set::ConnectFiles,      Set::CreateBridge,
                         Set::PortName,       Set::HostEvent,      Set::StartListening,    Set::Enabled,
                         Set::PinConnections, Set::ErrorEmulation, Set::ErrorEmulationLong};

const std::vector<std::uint16_t> kNullModem{0x0600, 0, 0, 0x1000, 0, 0, 0x0006, 0, 0, 0x0010, 0, 0};

template <class... Items>
Bytes record(const Items&... items) {
    RecordWriter writer;
    (writer.append(items), ...);
    return writer.bytes();
}

Bytes textRecord(const std::wstring& text) {
    return RecordWriter().appendString(text).bytes();
}

Bytes pinRecord(const std::vector<std::uint16_t>& entries) {
    return RecordWriter().appendList(entries).bytes();
}

Bytes without(Bytes bytes, std::size_t count) {
    bytes.resize(bytes.size() - count);
    return bytes;
}

Bytes with(Bytes bytes, std::uint8_t trailing) {
    bytes.push_back(trailing);
    return bytes;
}

class ControlRequests : public testing::Test {
protected:
    std::vector<Bytes> snapshot() const {
        std::vector<Bytes> replies;
        for (const auto query : kQueries)
            replies.push_back(client.replyOf(query));
        return replies;
    }

    DeviceNode device{0u};
    ControlClient client{device.controlPath()};
};

TEST_F(ControlRequests, AFreshPortListensAndHasTheDefaults) {
    EXPECT_NE(client.hostProcessId(), 0u);
    EXPECT_EQ(client.mode(), kListening);
    EXPECT_EQ(client.replyOf(Query::Pair), record(std::uint32_t{0}));
    EXPECT_TRUE(client.replyOf(Query::PipeHandle).empty());
    EXPECT_TRUE(client.replyOf(Query::FileHandles).empty());
    EXPECT_TRUE(client.replyOf(Query::RemoteEndpoint).empty());
    EXPECT_EQ(client.replyOf(Query::Traffic), record(protocol::TrafficCounters{}));
    EXPECT_EQ(client.replyOf(Query::SecurityDescriptor), textRecord(L"D:AR(A;;CC;;;WD)"));
    EXPECT_EQ(client.replyOf(Query::Enabled), Bytes{1});
    EXPECT_EQ(client.replyOf(Query::PinConnections), pinRecord(kNullModem));
    EXPECT_EQ(client.replyOf(Query::ErrorEmulation), record(protocol::ErrorEmulationState{}));
    EXPECT_EQ(client.replyOf(Query::ErrorEmulationLong), record(protocol::ErrorEmulationLong{1, 0, 0}));
}

TEST_F(ControlRequests, WhatIsSetIsReadBack) {
    const protocol::ErrorEmulationLong overflow{protocol::kTransmitOverflow, 1, 7};
    const std::vector<std::uint16_t> wiring{0x3636, 0x0909, 0x0009, 0x3600, 0, 0x2020, 0, 0, 0, 0, 0, 0x2000};

    EXPECT_EQ(client.set(Set::ErrorEmulation, record(protocol::ErrorEmulationShort{0x11, 1, 500})), 0u);
    EXPECT_EQ(client.set(Set::ErrorEmulationLong, record(overflow)), 0u);
    EXPECT_EQ(client.set(Set::PinConnections, pinRecord(wiring)), 0u);
    EXPECT_EQ(client.set(Set::StartListening, textRecord(L"D:(A;;GA;;;BA)")), 0u);

    EXPECT_EQ(client.replyOf(Query::ErrorEmulation), record(protocol::ErrorEmulationState{1, 500}));
    EXPECT_EQ(client.replyOf(Query::ErrorEmulationLong), record(overflow));
    EXPECT_EQ(client.replyOf(Query::PinConnections), pinRecord(wiring));
    EXPECT_EQ(client.askText(Query::SecurityDescriptor), L"D:(A;;GA;;;BA)");
}

TEST_F(ControlRequests, AMalformedRecordIsRefusedAndChangesNothing) {
    const protocol::ErrorEmulationShort crossover{0x11, 1, 100};
    const protocol::ErrorEmulationLong overflow{1, 1, 0};
    const auto bridge = bridgeRecord(L"COM299", L".", 0);
    const struct {
        const char* what;
        Set code;
        Bytes input;
    } cases[] = {
        {"pipe: empty", Set::ConnectPipe, {}},
        {"pipe: no flag", Set::ConnectPipe, record(std::uint64_t{4})},
        {"pipe: flag out of range", Set::ConnectPipe, record(protocol::PipeConnection{4, 2})},
        {"pipe: trailing byte", Set::ConnectPipe, with(record(protocol::PipeConnection{4, 1}), 0)},
        {"disconnect: input", Set::Disconnect, {0}},
        {"files: empty", Set::ConnectFiles, {}},
        {"files: one handle", Set::ConnectFiles, record(std::uint64_t{4})},
        {"files: trailing byte", Set::ConnectFiles, with(record(protocol::HostHandlePair{4, 8}), 0)},
        {"bridge: empty", Set::CreateBridge, {}},
        {"bridge: no flag", Set::CreateBridge, without(bridge, 1)},
        {"bridge: flag out of range", Set::CreateBridge, bridgeRecord(L"COM299", L".", 2)},
        {"bridge: trailing byte", Set::CreateBridge, with(bridge, 0)},
        {"bridge: no partner", Set::CreateBridge, bridgeRecord(L"", L".", 0)},
        {"bridge: no server", Set::CreateBridge, bridgeRecord(L"COM299", L"", 0)},
        {"bridge: lying count", Set::CreateBridge, with(record(std::uint32_t{0x7FFFFFFF}), 'C')},
        {"bridge: with itself", Set::CreateBridge, bridgeRecord(device.portName(), L".", 0)},
        {"name: empty input", Set::PortName, {}},
        {"name: empty text", Set::PortName, textRecord(L"")},
        {"name: lying count", Set::PortName, record(std::uint32_t{4}, L'C')},
        {"name: count of 2^32-1", Set::PortName, record(std::uint32_t{0xFFFFFFFF}, L'C')},
        {"name: half a code unit", Set::PortName, without(textRecord(L"COM250"), 1)},
        {"name: trailing byte", Set::PortName, with(textRecord(L"COM250"), 0)},
        {"name: a path", Set::PortName, textRecord(L"A\\B")},
        {"name: a terminator inside", Set::PortName, textRecord(std::wstring(L"COM250\0X", 8))},
        {"name: too long", Set::PortName, textRecord(std::wstring(256, L'C'))},
        {"event: empty", Set::HostEvent, {}},
        {"event: 32 bits", Set::HostEvent, record(std::uint32_t{4})},
        {"event: trailing byte", Set::HostEvent, with(record(std::uint64_t{4}), 0)},
        {"listening: empty", Set::StartListening, {}},
        {"listening: no descriptor", Set::StartListening, textRecord(L"everybody")},
        {"listening: lying count", Set::StartListening, with(record(std::uint32_t{9}), 'D')},
        {"listening: trailing byte", Set::StartListening, with(textRecord(L"D:(A;;GA;;;WD)"), 0)},
        {"listening: a terminator inside", Set::StartListening, textRecord(std::wstring(L"D:\0X", 4))},
        {"enabled: empty", Set::Enabled, {}},
        {"enabled: 2", Set::Enabled, {2}},
        {"enabled: 255", Set::Enabled, {255}},
        {"enabled: two bytes", Set::Enabled, {0, 0}},
        {"pins: empty", Set::PinConnections, {}},
        {"pins: eleven", Set::PinConnections, pinRecord(std::vector<std::uint16_t>(11))},
        {"pins: thirteen", Set::PinConnections, pinRecord(std::vector<std::uint16_t>(13))},
        {"pins: lying count", Set::PinConnections, record(std::uint32_t{12}, std::uint16_t{0})},
        {"pins: trailing byte", Set::PinConnections, with(pinRecord(kNullModem), 0)},
        {"pins: no such target", Set::PinConnections, pinRecord({0x0040, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})},
        {"pins: DTR drives DTR", Set::PinConnections, pinRecord({0x0001, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})},
        {"pins: remote RI drives DTR", Set::PinConnections, pinRecord({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x0100})},
        {"crossover: empty", Set::ErrorEmulation, {}},
        {"crossover: short", Set::ErrorEmulation, without(record(crossover), 1)},
        {"crossover: trailing byte", Set::ErrorEmulation, with(record(crossover), 0)},
        {"crossover: unknown kind", Set::ErrorEmulation, record(protocol::ErrorEmulationShort{0x10, 1, 100})},
        {"crossover: flag out of range", Set::ErrorEmulation, record(protocol::ErrorEmulationShort{0x11, 2, 100})},
        {"crossover: beyond a half", Set::ErrorEmulation, record(protocol::ErrorEmulationShort{0x11, 1, 501})},
        {"overflow: empty", Set::ErrorEmulationLong, {}},
        {"overflow: short", Set::ErrorEmulationLong, without(record(overflow), 8)},
        {"overflow: trailing byte", Set::ErrorEmulationLong, with(record(overflow), 0)},
        {"overflow: unknown kind", Set::ErrorEmulationLong, record(protocol::ErrorEmulationLong{0, 1, 0})},
        {"overflow: flag out of range", Set::ErrorEmulationLong, record(protocol::ErrorEmulationLong{1, 2, 0})},
    };

    const auto before = snapshot();
    for (const auto& row : cases)
        EXPECT_EQ(client.set(row.code, row.input), DWORD{ERROR_INVALID_PARAMETER}) << row.what;
    EXPECT_EQ(snapshot(), before);
    EXPECT_TRUE(openPath(L"\\\\.\\" + device.portName()));
}

TEST_F(ControlRequests, AQueryTakesNoInput) {
    const auto handle = openPath(device.controlPath(), GENERIC_READ);
    for (const auto query : kQueries)
        EXPECT_EQ(
            sendRequest(handle.get(), static_cast<std::uint32_t>(query), {0}, protocol::kReplySize).error,
            DWORD{ERROR_INVALID_PARAMETER})
            << static_cast<std::uint32_t>(query);
}

TEST_F(ControlRequests, AReplyBufferMustHoldTheWholeReply) {
    const auto handle = openPath(device.controlPath(), GENERIC_READ);
    for (const auto query : kQueries) {
        const auto code = static_cast<std::uint32_t>(query);
        const auto reply = client.replyOf(query);
        EXPECT_EQ(sendRequest(handle.get(), code, {}, reply.size()).reply, reply) << code;
        if (!reply.empty()) {
            EXPECT_EQ(sendRequest(handle.get(), code, {}, reply.size() - 1).error, DWORD{ERROR_INSUFFICIENT_BUFFER})
                << code;
        }
    }
}

TEST_F(ControlRequests, AnUnknownCodeIsRefused) {
    const auto handle = openPath(device.controlPath());
    const std::uint32_t codes[] = {
        protocol::controlCode(protocol::kFileReadAccess, 0x800),
        protocol::controlCode(protocol::kFileReadAccess, 0x803),  // a set's function with a query's access
        protocol::controlCode(protocol::kFileWriteAccess, 0x802), // and the other way round
        protocol::controlCode(protocol::kFileReadAccess | protocol::kFileWriteAccess, 0x802),
        protocol::controlCode(protocol::kFileReadAccess, 0x821),
        static_cast<std::uint32_t>(Query::Mode) | METHOD_NEITHER,
        static_cast<std::uint32_t>(Query::Mode) & 0xFFFF, // another device type
        CTL_CODE(FILE_DEVICE_SERIAL_PORT, 20, METHOD_BUFFERED, FILE_ANY_ACCESS),
    };
    for (const auto code : codes)
        EXPECT_EQ(sendRequest(handle.get(), code, {}, 64).error, DWORD{ERROR_INVALID_FUNCTION}) << std::hex << code;
}

TEST_F(ControlRequests, AHandleWithoutTheRequestsAccessIsRefused) {
    const auto before = snapshot();
    const auto readOnly = openPath(device.controlPath(), GENERIC_READ);
    const auto writeOnly = openPath(device.controlPath(), GENERIC_WRITE);
    for (const auto set : kSets)
        EXPECT_EQ(
            sendRequest(readOnly.get(), static_cast<std::uint32_t>(set), {0}).error, DWORD{ERROR_ACCESS_DENIED});
    for (const auto query : kQueries)
        EXPECT_EQ(
            sendRequest(writeOnly.get(), static_cast<std::uint32_t>(query), {}, 64).error,
            DWORD{ERROR_ACCESS_DENIED});
    EXPECT_EQ(snapshot(), before);
}

} // namespace
} // namespace zorvan::test
