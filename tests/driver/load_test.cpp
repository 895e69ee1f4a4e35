// Bridges under load.
#include "serial_client.h"

#include <atomic>
#include <thread>

namespace zorvan::test {
namespace {

constexpr std::size_t kBlock = 20'000;
constexpr ULONGLONG kLoadTime = 5'000; // milliseconds

// Both ends write and read at the same time.
struct LoadedBridge : OpenBridge {
    explicit LoadedBridge(unsigned number) : OpenBridge(2 * number) {}

    void run(ULONGLONG until) {
        unsigned round = 0;
        for (; GetTickCount64() < until && !testing::Test::HasFailure(); ++round) {
            const auto question = randomBytes(kBlock - round % 100 * 100, 2 * round + 1);
            const auto answer = randomBytes(question.size(), 2 * round + 2);
            const auto asked = here.startWrite(question);
            const auto answered = there.startWrite(answer);
            EXPECT_TRUE(there.read(question.size()).data == question);
            EXPECT_TRUE(here.read(answer.size()).data == answer);
        }
        EXPECT_GT(round, 0u);
    }
};

// While both ends are busy and requests are cancelled, one end goes; the other one goes on with the next.
TEST(Load, ABridgeMayEndAtAnyTime) {
    const DeviceNode device{0u};
    const SerialClient here(device.portName());
    const ControlClient client(device.controlPath());
    std::atomic<bool> stop = false;
    std::jthread writer([&] {
        while (!stop) {
            const auto write = here.startWrite(Data(5000));
            Sleep(1);
        }
    });
    std::jthread reader([&] {
        while (!stop)
            here.startRead(5000);
    });
    for (int round = 0; round < 10; ++round) {
        DeviceNode partner{1u};
        const SerialClient there(partner.portName());
        EXPECT_EQ(client.bridgeTo(partner.portName()), 0u);
        const auto write = there.startWrite(Data(100'000));
        EXPECT_EQ(there.read(1000).error, 0u);
        partner.remove();
        EXPECT_EQ(client.mode(), kListening);
    }
    stop = true;
}

// Reads are cancelled at the moment at which they end, again and again, beside a bridge where nothing is cancelled.
TEST(Load, ACancellationHitsNoOtherRequest) {
    LoadedBridge bystander(1);
    const DeviceNode device{0u};
    const DeviceNode partner{1u};
    ASSERT_EQ(ControlClient(device.controlPath()).bridgeTo(partner.portName()), 0u);
    const SerialClient here(device.portName());
    const SerialClient there(partner.portName());
    const auto until = GetTickCount64() + kLoadTime;
    std::jthread load([&] { bystander.run(until); });
    std::jthread writer([&] {
        while (GetTickCount64() < until)
            here.startWrite({1})->wait(1);
    });
    while (GetTickCount64() < until) {
        const auto read = there.startRead(1);
        CancelIoEx(there.get(), read->overlapped());
        const auto error = read->wait().error;
        EXPECT_TRUE(error == ERROR_SUCCESS || error == ERROR_OPERATION_ABORTED) << error;
    }
}

} // namespace
} // namespace zorvan::test
