// Eight bridges at once under load, with every byte compared.
#include "control_client.h"
#include "device_node.h"
#include "runner/runner.h"
#include "serial_client.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

namespace zorvan::test {
namespace {

constexpr unsigned kBridges = 8;
constexpr std::size_t kBlock = 20'000;
constexpr ULONGLONG kLoadTime = 5'000; // milliseconds

Data block(unsigned port, unsigned number) {
    return pattern(kBlock - number % 100 * 100, port << 16 | number);
}

// Both ends of one bridge, each writing and reading at the same time.
class LoadedBridge {
public:
    explicit LoadedBridge(unsigned number)
        : number_(number), device_(2 * number), partner_(2 * number + 1), here_(openBridged()),
          there_(partner_.portName()) {}

    void run(ULONGLONG until) {
        unsigned round = 0;
        for (; GetTickCount64() < until && !testing::Test::HasFailure(); ++round) {
            const auto there = here_.startWrite(block(number_, round));
            const auto back = there_.startWrite(block(number_ + kBridges, round));
            expectArrival(there_, block(number_, round));
            expectArrival(here_, block(number_ + kBridges, round));
        }
        EXPECT_GT(round, 0u);
    }

private:
    SerialClient openBridged() const {
        EXPECT_EQ(ControlClient(device_.controlPath()).bridgeTo(partner_.portName()), 0u);
        return SerialClient(device_.portName());
    }

    static void expectArrival(const SerialClient& port, const Data& expected) {
        const auto arrived = port.read(expected.size());
        EXPECT_EQ(arrived.error, 0u);
        EXPECT_TRUE(arrived.data == expected);
    }

    unsigned number_;
    DeviceNode device_;
    DeviceNode partner_;
    SerialClient here_;
    SerialClient there_;
};

TEST(Load, EightBridgesLoseNothing) {
    allowTime(std::chrono::minutes(2));
    std::vector<std::unique_ptr<LoadedBridge>> bridges;
    for (unsigned i = 0; i < kBridges; ++i)
        bridges.push_back(std::make_unique<LoadedBridge>(i));

    const auto until = GetTickCount64() + kLoadTime;
    std::vector<std::jthread> threads;
    for (const auto& bridge : bridges)
        threads.emplace_back([&bridge, until] { bridge->run(until); });
}

// While both ends are busy and requests are cancelled, one end goes; the other one goes on with the next.
TEST(Load, ABridgeMayEndAtAnyTime) {
    allowTime(std::chrono::minutes(2));
    const DeviceNode device{0u};
    const SerialClient here(device.portName());
    const ControlClient client(device.controlPath());
    std::atomic<bool> stop = false;
    std::jthread writer([&] {
        while (!stop) {
            const auto write = here.startWrite(pattern(5000));
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
        ASSERT_EQ(client.bridgeTo(partner.portName()), 0u);
        const auto write = there.startWrite(pattern(100'000));
        EXPECT_TRUE(there.read(1000).ok());
        partner.remove();
        EXPECT_EQ(client.mode(), kListening);
    }
    stop = true;
}

// Reads are cancelled at the moment at which they end, again and again, beside a bridge where nothing is cancelled.
TEST(Load, ACancellationHitsNoOtherRequest) {
    allowTime(std::chrono::minutes(2));
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
