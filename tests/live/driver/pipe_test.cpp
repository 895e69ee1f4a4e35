// Ports that are connected to a named pipe, of which they have either end.
#include "control_client.h"

namespace zorvan::test {
namespace {

using protocol::Query;
using protocol::Set;

UniqueHandle createPipe(int number = 0) {
    const auto name = L"\\\\.\\pipe\\zorvan-driver-test" + std::to_wstring(number);
    return fileHandle(CreateNamedPipeW(
        name.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED, PIPE_TYPE_BYTE, 1, 4096, 4096, 0, nullptr));
}

// One instance of a pipe is all there may be.
bool isHeld(int number) {
    return !createPipe(number);
}

// The driver lets one client go before it takes the next.
UniqueHandle openPipe() {
    for (const auto deadline = GetTickCount64() + kPatience;; Sleep(10)) {
        auto pipe = openFile(L"\\\\.\\pipe\\zorvan-driver-test0");
        if (pipe || GetTickCount64() > deadline)
            return pipe;
    }
}

class Pipe : public TestOf<TwoPorts> {
protected:
    std::uint64_t connect(const UniqueHandle& pipe, bool serverEnd) const {
        const auto inHost = client.copyToHost(pipe.get());
        EXPECT_EQ(client.set(Set::ConnectPipe, record(protocol::PipeConnection{inHost, serverEnd})), 0u);
        EXPECT_EQ(client.mode(), kPipe);
        EXPECT_EQ(client.ask<std::uint64_t>(Query::PipeHandle), inHost);
        return inHost;
    }

    static void exchange(const SerialClient& port, HANDLE peer) {
        send(port.get(), peer, "there");
        send(peer, port.get(), "and back");
    }
};

TEST_F(Pipe, IsHeldUntilTheConnectionEnds) {
    connect(createPipe(1), true);
    const auto second = record(protocol::PipeConnection{connect(createPipe(2), true), 1});
    EXPECT_FALSE(isHeld(1));
    EXPECT_EQ(client.set(Set::ConnectPipe, second), DWORD{ERROR_INVALID_HANDLE}) << "again";
    EXPECT_TRUE(isHeld(2));
    EXPECT_EQ(client.bridgeTo(partnerDevice.portName()), 0u);
    EXPECT_FALSE(isHeld(2));
    connect(createPipe(3), true);
    EXPECT_EQ(partner.mode(), kListening) << "left by its partner";
    EXPECT_EQ(client.set(Set::Disconnect), 0u);
    EXPECT_EQ(client.mode(), kListening);
    EXPECT_TRUE(client.query(Query::PipeHandle).empty());
    EXPECT_FALSE(isHeld(3));
}

TEST_F(Pipe, LastsAtItsClientEndAsLongAsItsServer) {
    auto server = createPipe();
    connect(openPipe(), false);
    const SerialClient port(device.portName());
    exchange(port, server.get());
    EXPECT_EQ(port.lines(), DWORD{MS_CTS_ON | MS_DSR_ON | MS_RLSD_ON});

    EXPECT_EQ(WaitForSingleObject(device.changed(), 0), DWORD{WAIT_OBJECT_0}) << "of the mode, by the connection";
    EXPECT_EQ(startWrite(server.get(), "bye")->wait().error, 0u);
    server.reset();
    EXPECT_EQ(WaitForSingleObject(device.changed(), kPatience), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(client.mode(), kListening);
    EXPECT_EQ(port.read(3).data, "bye");
    EXPECT_EQ(port.lines(), 0u);
}

TEST_F(Pipe, TakesAtItsServerEndOneClientAfterTheOther) {
    connect(createPipe(), true);
    const SerialClient port(device.portName());
    EXPECT_EQ(port.lines(), 0u);
    const auto early = port.startWrite("waiting");
    EXPECT_FALSE(early->done());

    auto first = openPipe();
    EXPECT_EQ(startRead(first.get(), 7)->wait().data, "waiting");
    EXPECT_EQ(startWrite(first.get(), "bye")->wait().error, 0u);
    first.reset();
    const auto second = openPipe();
    EXPECT_EQ(port.read(3).data, "bye");
    exchange(port, second.get());
    EXPECT_EQ(client.mode(), kPipe);
    EXPECT_EQ(client.ask<protocol::TrafficCounters>(Query::Traffic).connections, 2u);
}

} // namespace
} // namespace zorvan::test
