// Pipes, files and bridges: the modes, the handles in the host process, and how connections end.
#include "control_client.h"
#include "device_node.h"

#include <gtest/gtest.h>

namespace zorvan::test {
namespace {

using protocol::Query;
using protocol::RecordReader;
using protocol::RecordWriter;
using protocol::Set;

UniqueHandle createPipe(const std::wstring& name) {
    return fileHandle(CreateNamedPipeW(
        (L"\\\\.\\pipe\\" + name).c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED, 0, 1, 256, 256, 0, nullptr));
}

// Pipes are made for one instance at a time.
bool isOpen(const std::wstring& pipeName) {
    return !createPipe(pipeName);
}

// A file that goes with its last handle. Its path tells whether one is left; a handle's value may be in use again.
class TemporaryFile {
public:
    TemporaryFile() {
        wchar_t folder[MAX_PATH];
        GetTempPathW(MAX_PATH, folder);
        GetTempFileNameW(folder, L"zor", 0, path_);
    }

    UniqueHandle open() const {
        return fileHandle(CreateFileW(
            path_, GENERIC_READ | GENERIC_WRITE | DELETE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
            nullptr, OPEN_ALWAYS, FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    }

    bool isHeld() const { return GetFileAttributesW(path_) != INVALID_FILE_ATTRIBUTES; }

private:
    wchar_t path_[MAX_PATH];
};

protocol::Bytes pipeRecord(std::uint64_t pipe, std::uint8_t serverEnd = 1) {
    return RecordWriter().append(protocol::PipeConnection{pipe, serverEnd}).bytes();
}

protocol::Bytes fileRecord(std::uint64_t output, std::uint64_t input) {
    return RecordWriter().append(protocol::HostHandlePair{output, input}).bytes();
}

struct Endpoint {
    std::wstring server;
    std::wstring port;
};

Endpoint endpointOf(const ControlClient& client) {
    const auto reply = client.replyOf(Query::RemoteEndpoint);
    RecordReader reader(reply);
    auto server = reader.readString();
    auto port = reader.readString();
    EXPECT_EQ(reader.read<std::uint32_t>(), 0u);
    EXPECT_TRUE(reader.atEnd() && !reader.truncated());
    return {server, port};
}

class Connections : public testing::Test {
protected:
    std::uint64_t connectPipe(const std::wstring& name) const {
        const auto value = client.copyToHost(createPipe(name).get());
        EXPECT_EQ(client.set(Set::ConnectPipe, pipeRecord(value)), 0u);
        return value;
    }

    std::uint32_t pairOf(const ControlClient& of) const { return of.ask<std::uint32_t>(Query::Pair); }

    void expectBridged() const {
        EXPECT_EQ(client.mode(), kBridge);
        EXPECT_EQ(partner.mode(), kBridge);
        EXPECT_EQ(pairOf(client), partner.hostProcessId());
        EXPECT_EQ(pairOf(partner), client.hostProcessId());
    }

    void expectBothListening() const {
        EXPECT_EQ(client.mode(), kListening);
        EXPECT_EQ(partner.mode(), kListening);
        EXPECT_EQ(pairOf(client), 0u);
        EXPECT_EQ(pairOf(partner), 0u);
        EXPECT_TRUE(client.replyOf(Query::RemoteEndpoint).empty());
    }

    DeviceNode device{0u};
    DeviceNode partnerDevice{1u};
    ControlClient client{device.controlPath()};
    ControlClient partner{partnerDevice.controlPath()};
};

TEST_F(Connections, APipeIsHeldUntilDisconnected) {
    const auto pipe = connectPipe(L"zorvan-driver-test");
    EXPECT_EQ(client.mode(), kPipe);
    EXPECT_EQ(client.ask<std::uint64_t>(Query::PipeHandle), pipe);
    EXPECT_TRUE(isOpen(L"zorvan-driver-test"));

    EXPECT_EQ(client.set(Set::Disconnect), 0u);
    EXPECT_EQ(client.mode(), kListening);
    EXPECT_TRUE(client.replyOf(Query::PipeHandle).empty());
    EXPECT_FALSE(isOpen(L"zorvan-driver-test"));
}

TEST_F(Connections, ANewConnectionEndsTheFormerOne) {
    connectPipe(L"zorvan-driver-test-1");
    const auto second = connectPipe(L"zorvan-driver-test-2");
    EXPECT_FALSE(isOpen(L"zorvan-driver-test-1"));
    EXPECT_TRUE(isOpen(L"zorvan-driver-test-2"));
    EXPECT_EQ(client.ask<std::uint64_t>(Query::PipeHandle), second);

    EXPECT_EQ(client.listen(), 0u);
    EXPECT_FALSE(isOpen(L"zorvan-driver-test-2"));
}

TEST_F(Connections, FilesAreHeldUntilDisconnected) {
    const TemporaryFile outputFile;
    const TemporaryFile inputFile;
    const auto output = client.copyToHost(outputFile.open().get());
    const auto input = client.copyToHost(inputFile.open().get());
    EXPECT_EQ(client.set(Set::ConnectFiles, fileRecord(output, input)), 0u);
    EXPECT_EQ(client.mode(), kHandles);
    EXPECT_EQ(client.replyOf(Query::FileHandles), fileRecord(output, input));
    EXPECT_TRUE(outputFile.isHeld() && inputFile.isHeld());

    EXPECT_EQ(client.set(Set::Disconnect), 0u);
    EXPECT_EQ(client.mode(), kListening);
    EXPECT_FALSE(outputFile.isHeld());
    EXPECT_FALSE(inputFile.isHeld());
}

TEST_F(Connections, HandlesThatCannotCarryTrafficAreRefused) {
    const UniqueHandle event(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    const auto eventInHost = client.copyToHost(event.get());
    const TemporaryFile refused;
    const auto file = client.copyToHost(refused.open().get());
    const auto pipe = connectPipe(L"zorvan-driver-test");
    const struct {
        const char* what;
        Set code;
        protocol::Bytes input;
    } cases[] = {
        {"no pipe", Set::ConnectPipe, pipeRecord(0)},
        {"not a handle of the host", Set::ConnectPipe, pipeRecord(0xABCDE0)},
        {"a file as a pipe", Set::ConnectPipe, pipeRecord(file)},
        {"an event as a pipe", Set::ConnectPipe, pipeRecord(eventInHost)},
        {"the connected pipe again", Set::ConnectPipe, pipeRecord(pipe)},
        {"no files", Set::ConnectFiles, fileRecord(0, 0)},
        {"no output file", Set::ConnectFiles, fileRecord(0, file)},
        {"no input file", Set::ConnectFiles, fileRecord(file, 0)},
        {"one handle twice", Set::ConnectFiles, fileRecord(file, file)},
        {"an event as a file", Set::ConnectFiles, fileRecord(file, eventInHost)},
    };
    for (const auto& row : cases)
        EXPECT_EQ(client.set(row.code, row.input), DWORD{ERROR_INVALID_HANDLE}) << row.what;

    EXPECT_EQ(client.mode(), kPipe);
    EXPECT_EQ(client.ask<std::uint64_t>(Query::PipeHandle), pipe);
    EXPECT_TRUE(isOpen(L"zorvan-driver-test"));
    EXPECT_TRUE(refused.isHeld()) << "a refused handle stays its owner's";
}

TEST_F(Connections, APortWhoseHostProcessIsGoneIsBroken) {
    const auto pipe = connectPipe(L"zorvan-driver-test");
    const UniqueHandle host(OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, client.hostProcessId()));
    ASSERT_TRUE(TerminateProcess(host.get(), 1));
    ASSERT_EQ(WaitForSingleObject(host.get(), 10'000), DWORD{WAIT_OBJECT_0});

    EXPECT_EQ(client.mode(), kBroken);
    EXPECT_EQ(client.set(Set::Disconnect), 0u);
    EXPECT_EQ(client.set(Set::ConnectPipe, pipeRecord(pipe)), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(client.mode(), kBroken);
}

TEST_F(Connections, ABridgeJoinsBothEnds) {
    EXPECT_EQ(client.bridgeTo(partnerDevice.portName()), 0u);
    expectBridged();
    EXPECT_EQ(endpointOf(client).server, L".");
    EXPECT_EQ(endpointOf(client).port, partnerDevice.portName());
    EXPECT_EQ(endpointOf(partner).server, L".");
    EXPECT_EQ(endpointOf(partner).port, device.portName());
}

TEST_F(Connections, EitherEndEndsABridge) {
    for (const auto* end : {&client, &partner}) {
        EXPECT_EQ(client.bridgeTo(partnerDevice.portName()), 0u);
        EXPECT_EQ(end->set(Set::Disconnect), 0u);
        expectBothListening();

        EXPECT_EQ(client.bridgeTo(partnerDevice.portName()), 0u);
        EXPECT_EQ(end->listen(), 0u);
        expectBothListening();
    }
}

TEST_F(Connections, APartnerThatConnectsElsewhereLeavesTheBridge) {
    EXPECT_EQ(client.bridgeTo(partnerDevice.portName()), 0u);
    connectPipe(L"zorvan-driver-test");
    EXPECT_EQ(client.mode(), kPipe);
    EXPECT_EQ(partner.mode(), kListening);
}

TEST_F(Connections, ARemovedPartnerEndsTheBridge) {
    EXPECT_EQ(client.bridgeTo(partnerDevice.portName()), 0u);
    partnerDevice.remove();
    EXPECT_EQ(client.mode(), kListening);
    EXPECT_EQ(pairOf(client), 0u);
    EXPECT_EQ(client.bridgeTo(partnerDevice.portName()), DWORD{ERROR_FILE_NOT_FOUND});
}

TEST_F(Connections, ABridgeFollowsItsPartnersName) {
    EXPECT_EQ(client.bridgeTo(partnerDevice.portName()), 0u);
    EXPECT_EQ(partner.set(Set::PortName, RecordWriter().appendString(testPortName(5)).bytes()), 0u);
    EXPECT_EQ(endpointOf(client).port, testPortName(5));
    expectBridged();
}

TEST_F(Connections, ThisComputersNameMakesALocalBridge) {
    wchar_t name[256];
    DWORD size = 256;
    ASSERT_TRUE(GetComputerNameExW(ComputerNameDnsHostname, name, &size));
    EXPECT_EQ(client.bridgeTo(partnerDevice.portName(), name), 0u);
    expectBridged();
    EXPECT_EQ(endpointOf(client).server, name);
}

TEST_F(Connections, ImpossibleBridgesAreRefused) {
    EXPECT_EQ(client.bridgeTo(testPortName(99)), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(client.bridgeTo(partnerDevice.portName(), L"another-computer.invalid"), DWORD{ERROR_NOT_SUPPORTED});
    expectBothListening();

    DeviceNode thirdDevice{2u};
    const ControlClient third(thirdDevice.controlPath());
    EXPECT_EQ(client.bridgeTo(partnerDevice.portName()), 0u);
    EXPECT_EQ(third.bridgeTo(partnerDevice.portName()), DWORD{ERROR_CONNECTION_ACTIVE});
    EXPECT_EQ(third.mode(), kListening);
    expectBridged();
}

} // namespace
} // namespace zorvan::test
