// Ports that are connected to two files: bytes from one and to the other.
#include "serial_client.h"

namespace zorvan::test {
namespace {

using devkit::TemporaryFile;
using protocol::Query;
using protocol::Set;

UniqueHandle open(const TemporaryFile& file, DWORD access, DWORD sharing) {
    return fileHandle(
        CreateFileW(file.name().c_str(), access, sharing, nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr));
}

bool isHeld(const TemporaryFile& file) {
    return !open(file, GENERIC_READ, 0);
}

protocol::Bytes fileRecord(std::uint64_t output, std::uint64_t input) {
    return record(protocol::HostHandlePair{output, input});
}

using Files = TestOf<TwoPorts>;

TEST_F(Files, LoseNothingHoweverTheConnectionEnds) {
    const auto received = randomBytes(200'000, 1);
    const auto sent = randomBytes(300'000, 2);
    for (const bool removed : {false, true}) {
        SCOPED_TRACE(removed ? "removed" : "disconnected");
        const TemporaryFile inputFile(received);
        const TemporaryFile outputFile({});
        const auto output = client.copyToHost(open(outputFile, GENERIC_WRITE, FILE_SHARE_READ).get());
        const auto input = client.copyToHost(open(inputFile, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE).get());
        ASSERT_EQ(client.set(Set::ConnectFiles, fileRecord(output, input)), 0u);
        EXPECT_EQ(client.query(Query::FileHandles), fileRecord(output, input));

        SerialClient port(device.portName());
        Data arrived;
        while (arrived.size() < received.size()) { // in pieces that are smaller than what waits
            const auto piece = port.read(1000).data;
            ASSERT_EQ(piece.size(), 1000u);
            arrived.insert(arrived.end(), piece.begin(), piece.end());
        }
        EXPECT_EQ(arrived, received);
        const auto beyondTheEnd = port.startRead(1);
        EXPECT_EQ(port.write(sent).count, sent.size());
        EXPECT_FALSE(beyondTheEnd->done());
        EXPECT_EQ(client.mode(), kHandles);
        EXPECT_TRUE(isHeld(outputFile) && isHeld(inputFile));

        port.close();
        if (removed)
            device.remove();
        else
            EXPECT_EQ(client.set(Set::Disconnect), 0u);
        EXPECT_EQ(devkit::OpenFile(outputFile.name()).read(sent.size()), sent);
        EXPECT_FALSE(isHeld(outputFile) || isHeld(inputFile));
    }
}

UniqueHandle openOverlapped(const std::wstring& path) {
    return fileHandle(CreateFileW(
        path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED,
        nullptr));
}

TEST_F(Files, AreNotWhatCannotCarryTraffic) {
    const TemporaryFile refused({});
    {
        const auto opened = open(refused, GENERIC_READ | GENERIC_WRITE, 0);
        const auto file = [&] { return client.copyToHost(opened.get()); };
        const auto pipeRecord = [](std::uint64_t pipe) { return record(protocol::PipeConnection{pipe, 1}); };
        const auto twice = file();
        std::vector<std::pair<Set, protocol::Bytes>> rows{
            {Set::ConnectPipe, pipeRecord(0)},
            {Set::ConnectPipe, pipeRecord(0xABCDE0)}, // not a handle of the host
            {Set::ConnectPipe, pipeRecord(file())},
            {Set::ConnectFiles, fileRecord(0, file())},
            {Set::ConnectFiles, fileRecord(file(), 0)},
            {Set::ConnectFiles, fileRecord(twice, twice)},
        };
        const TemporaryFile synchronous({});
        const UniqueHandle strangers[] = {
            UniqueHandle(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
            openOverlapped(device.serialPath()), // of the driver that is to answer
            openOverlapped(partnerDevice.serialPath()),
            openOverlapped(device.controlPath()),
            openOverlapped(L"\\\\.\\C:"), // of another driver
            openPath(synchronous.name()),
        };
        for (const auto& stranger : strangers) {
            const auto inHost = [&] { return client.copyToHost(stranger.get()); };
            rows.emplace_back(Set::ConnectPipe, pipeRecord(inHost()));
            rows.emplace_back(Set::ConnectFiles, fileRecord(inHost(), file()));
            rows.emplace_back(Set::ConnectFiles, fileRecord(file(), inHost()));
        }
        for (const auto& row : rows)
            EXPECT_EQ(client.set(row.first, row.second), DWORD{ERROR_INVALID_HANDLE}) << &row - rows.data();
    }
    EXPECT_EQ(client.mode(), kListening);
    EXPECT_FALSE(isHeld(refused)) << "a refused handle is closed";
}

} // namespace
} // namespace zorvan::test
