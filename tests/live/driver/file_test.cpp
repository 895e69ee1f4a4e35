// Ports that are connected to two files: bytes from one and to the other.
#include "control_client.h"
#include "support/program.h"

namespace zorvan::test {
namespace {

using protocol::Query;
using protocol::Set;

constexpr DWORD kShared = FILE_SHARE_READ | FILE_SHARE_WRITE;

bool isHeld(const TemporaryFile& file) {
    return !openFile(file.name(), GENERIC_READ);
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
        const auto output = client.copyToHost(openFile(outputFile.name(), GENERIC_WRITE, kShared).get());
        const auto input = client.copyToHost(openFile(inputFile.name(), GENERIC_READ, kShared).get());
        ASSERT_EQ(client.set(Set::ConnectFiles, fileRecord(output, input)), 0u);
        EXPECT_EQ(client.query(Query::FileHandles), fileRecord(output, input));

        SerialClient port(device.portName());
        std::string arrived;
        while (arrived.size() < received.size()) { // in pieces that are smaller than what waits
            const auto piece = port.read(1000).data;
            ASSERT_EQ(piece.size(), 1000u);
            arrived += piece;
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
        EXPECT_EQ(readFile(outputFile.name()), sent);
        EXPECT_FALSE(isHeld(outputFile) || isHeld(inputFile));
    }
}

TEST_F(Files, AreNotWhatCannotCarryTraffic) {
    const TemporaryFile refused({});
    {
        const auto opened = openFile(refused.name());
        const auto file = [&] { return client.copyToHost(opened.get()); };
        const auto pipeRecord = [](std::uint64_t pipe) { return record(protocol::PipeConnection{pipe, 1}); };
        const auto twice = file();
        std::vector<std::pair<Set, protocol::Bytes>> rows{
            {Set::ConnectPipe, pipeRecord(0)},
            {Set::ConnectPipe, pipeRecord(file())},
            {Set::ConnectFiles, fileRecord(file(), 0)},
            {Set::ConnectFiles, fileRecord(twice, twice)},
        };
        const UniqueHandle strangers[] = {
            UniqueHandle(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
            openFile(device.serialPath(), GENERIC_READ, kShared), // of the driver that is to answer
            openFile(L"\\\\.\\C:", GENERIC_READ, kShared),        // of another driver
        };
        for (const auto& stranger : strangers)
            rows.emplace_back(Set::ConnectFiles, fileRecord(file(), client.copyToHost(stranger.get())));
        for (const auto& row : rows)
            EXPECT_EQ(client.set(row.first, row.second), DWORD{ERROR_INVALID_HANDLE}) << &row - rows.data();
    }
    EXPECT_EQ(client.mode(), kListening);
    EXPECT_FALSE(isHeld(refused)) << "a refused handle is closed";
}

} // namespace
} // namespace zorvan::test
