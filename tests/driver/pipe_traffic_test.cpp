// Bytes between a port and a named pipe, of which the port has either end.
#include "control_client.h"
#include "device_node.h"
#include "serial_client.h"

#include <gtest/gtest.h>

namespace zorvan::test {
namespace {

using protocol::Query;
using protocol::RecordWriter;
using protocol::Set;

constexpr wchar_t kPipeName[] = L"\\\\.\\pipe\\zorvan-driver-test";

UniqueHandle createPipe() {
    return fileHandle(CreateNamedPipeW(
        kPipeName, PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED, PIPE_TYPE_BYTE, 1, 4096, 4096, 0, nullptr));
}

UniqueHandle openPipe() {
    return fileHandle(CreateFileW(
        kPipeName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr));
}

// The driver lets one client go before it takes the next.
UniqueHandle openPipePatiently() {
    const auto deadline = GetTickCount64() + kPatience;
    auto pipe = openPipe();
    for (; !pipe && GetTickCount64() < deadline; pipe = openPipe())
        Sleep(10);
    return pipe;
}

class PipeTraffic : public testing::Test {
protected:
    void connect(const UniqueHandle& pipe, bool serverEnd) const {
        RecordWriter record;
        record.append(protocol::PipeConnection{client.copyToHost(pipe.get()), serverEnd});
        EXPECT_EQ(client.set(Set::ConnectPipe, record.bytes()), 0u);
    }

    void exchange(const SerialClient& port, HANDLE peer, unsigned seed) const {
        const auto sent = pattern(100'000, seed);
        const auto received = pattern(150'000, seed + 1);
        const auto write = port.startWrite(sent);
        const auto reply = startWrite(peer, received);
        Data arrived;
        while (arrived.size() < sent.size()) {
            const auto part = startRead(peer, sent.size() - arrived.size())->wait();
            ASSERT_TRUE(part.ok()) << part.error;
            arrived.insert(arrived.end(), part.data.begin(), part.data.end());
        }
        EXPECT_EQ(arrived, sent);
        EXPECT_EQ(port.read(received.size()).data, received);
        EXPECT_TRUE(write->wait().ok());
        EXPECT_TRUE(reply->wait().ok());
    }

    DeviceNode device{0u};
    ControlClient client{device.controlPath()};
};

TEST_F(PipeTraffic, TheClientEndLastsAsLongAsThePipe) {
    auto server = createPipe();
    connect(openPipe(), false);
    const SerialClient port(device.portName());
    exchange(port, server.get(), 1);
    EXPECT_EQ(port.lines(), DWORD{MS_CTS_ON | MS_DSR_ON | MS_RLSD_ON});

    const UniqueHandle modeChanged(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    const auto event = client.copyToHost(modeChanged.get());
    EXPECT_EQ(client.set(Set::HostEvent, RecordWriter().append(event).bytes()), 0u);
    EXPECT_TRUE(startWrite(server.get(), bytesOf("bye"))->wait().ok());
    server.reset();
    EXPECT_EQ(WaitForSingleObject(modeChanged.get(), kPatience), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(client.mode(), kListening);
    EXPECT_EQ(port.read(3).data, bytesOf("bye"));
    EXPECT_EQ(port.lines(), 0u);
    EXPECT_EQ(client.ask<protocol::TrafficCounters>(Query::Traffic).connections, 1u);
}

TEST_F(PipeTraffic, TheServerEndTakesOneClientAfterTheOther) {
    connect(createPipe(), true);
    const SerialClient port(device.portName());
    EXPECT_EQ(port.lines(), 0u);
    const auto early = port.startWrite(bytesOf("waiting"));
    EXPECT_FALSE(early->done());

    auto first = openPipePatiently();
    EXPECT_EQ(startRead(first.get(), 7)->wait().data, bytesOf("waiting"));
    exchange(port, first.get(), 1);
    EXPECT_TRUE(startWrite(first.get(), bytesOf("bye"))->wait().ok());
    first.reset();
    const auto second = openPipePatiently();
    ASSERT_TRUE(second);
    EXPECT_EQ(port.read(3).data, bytesOf("bye"));
    exchange(port, second.get(), 3);
    EXPECT_EQ(client.mode(), kPipe);
    EXPECT_EQ(client.ask<protocol::TrafficCounters>(Query::Traffic).connections, 2u);
}

TEST_F(PipeTraffic, ADeviceMayBeRemovedInMidTransfer) {
    connect(createPipe(), true);
    const SerialClient port(device.portName());
    const auto peer = openPipePatiently();
    const auto write = port.startWrite(pattern(1'000'000));
    EXPECT_TRUE(startRead(peer.get(), 100)->wait().ok());
    device.remove();
    EXPECT_FALSE(write->wait().ok());
    Result rest{};
    do
        rest = startRead(peer.get(), 4096)->wait();
    while (rest.ok());
    EXPECT_EQ(rest.error, DWORD{ERROR_BROKEN_PIPE});
}

} // namespace
} // namespace zorvan::test
