// The parts of the port engine that need no driver: disturbance, wiring, queues.
#include "engine/byte_queue.h"
#include "engine/crossover_channel.h"
#include "engine/line_wiring.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <numeric>

namespace zorvan::driver {
namespace {

using protocol::kNullModem;

constexpr std::size_t kBits = 10'000'000;

// How many bits of the bytes are turned over when they pass in blocks of many sizes.
std::vector<std::uint8_t> disturbed(CrossoverChannel& channel, std::size_t size) {
    std::vector<std::uint8_t> bytes(size);
    std::size_t block = 1;
    for (std::size_t begin = 0; begin < size; begin += block, block = block % 4096 * 3 + 1) {
        block = std::min(block, size - begin);
        channel.disturb(std::span(bytes).subspan(begin, block));
    }
    return bytes;
}

std::size_t bitsSet(const std::vector<std::uint8_t>& bytes) {
    return std::accumulate(bytes.begin(), bytes.end(), std::size_t{0}, [](std::size_t sum, std::uint8_t byte) {
        return sum + static_cast<std::size_t>(std::popcount(byte));
    });
}

// Within so many standard deviations. A sound channel is outside of four once in 16,000 times.
void expectRate(std::size_t turned, std::size_t of, double probability, double deviations) {
    const auto count = static_cast<double>(of);
    EXPECT_NEAR(
        static_cast<double>(turned), count * probability,
        deviations * std::sqrt(count * probability * (1 - probability)));
}

TEST(Crossover, TurnsBitsOverWithItsProbability) {
    for (const std::uint32_t thousandths : {500U, 10U, 1U}) {
        CrossoverChannel channel;
        channel.setProbability(thousandths);
        const auto bytes = disturbed(channel, kBits / 8);
        const auto probability = thousandths / 1000.0;
        SCOPED_TRACE(thousandths);
        expectRate(bitsSet(bytes), kBits, probability, 4);

        std::size_t atBit[8]{};
        std::size_t pairs = 0; // of neighbours that are both turned over, which independence makes as rare
        for (const auto byte : bytes) {
            for (int bit = 0; bit < 8; ++bit)
                atBit[bit] += byte >> bit & 1U;
            pairs += static_cast<std::size_t>(std::popcount(static_cast<unsigned>(byte & byte >> 1 & 0x55)));
        }
        for (const auto turned : atBit)
            expectRate(turned, kBits / 8, probability, 6);
        expectRate(pairs, kBits / 2, probability * probability, 6);
    }
}

TEST(Crossover, IsExactAtNone) {
    CrossoverChannel channel;
    EXPECT_EQ(bitsSet(disturbed(channel, kBits / 8)), 0u);
    channel.setProbability(500);
    channel.setProbability(0);
    EXPECT_EQ(bitsSet(disturbed(channel, kBits / 8)), 0u);
}

TEST(Crossover, DiffersFromChannelToChannel) {
    CrossoverChannel channels[2];
    for (auto& channel : channels)
        channel.setProbability(500);
    EXPECT_NE(disturbed(channels[0], 64), disturbed(channels[1], 64));
}

TEST(Wiring, HasOneLevelForEachPin) {
    PinConnections chain{};
    chain[0] = 0x0200; // local DTR drives remote DSR,
    chain[7] = 0x0100; // which drives remote DTR,
    chain[6] = 0x0020; // which drives local RI,
    chain[5] = 0x2020; // which drives itself and remote RI
    PinConnections ring{};
    ring[0] = 0x0002; // local DTR drives local DSR,
    ring[1] = 0x0001; // which drives local DTR
    const struct {
        const char* what;
        PinConnections connections;
        PinLevels outputs;
        PinLevels driven;
    } rows[] = {
        {"null modem, one end", kNullModem, {kDtr | kRts, 0}, {0, kDsr | kDcd | kCts}},
        {"null modem, both ends", kNullModem, {kRts, kDtr}, {kDsr | kDcd, kCts}},
        {"nothing", {}, {kDtr | kRts, kDtr | kRts}, {0, 0}},
        {"a chain", chain, {kDtr, 0}, {kRi, kDtr | kDsr | kRi}},
        {"a chain, from its middle", chain, {0, kDtr}, {kRi, kRi}},
        {"a ring, driven", ring, {kDtr, 0}, {kDtr | kDsr, 0}},
        {"a ring, by itself", ring, {0, 0}, {0, 0}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(drivenPins(row.connections, row.outputs), row.driven) << row.what;
        const auto& [local, remote] = drivenPins(mirrored(row.connections), {row.outputs.remote, row.outputs.local});
        EXPECT_EQ((PinLevels{remote, local}), row.driven) << row.what << ", seen from the other end";
    }
    EXPECT_EQ(mirrored(kNullModem), kNullModem);
}

TEST(ByteQueue, KeepsTheOrder) {
    ByteQueue queue;
    std::uint8_t written = 0;
    std::uint8_t expected = 0;
    for (std::size_t round = 0; round < 2000; ++round) {
        std::vector<std::uint8_t> in(round * 7 % 300);
        std::iota(in.begin(), in.end(), written);
        written = static_cast<std::uint8_t>(written + in.size());
        queue.append(in);
        std::vector<std::uint8_t> out(round * 11 % 310);
        out.resize(queue.take(out));
        for (const auto byte : out)
            ASSERT_EQ(byte, expected++);
    }
    EXPECT_EQ(static_cast<std::uint8_t>(expected + queue.size()), written);
}

} // namespace
} // namespace zorvan::driver
