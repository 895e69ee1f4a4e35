// A driver that says anything, or nothing for long: its replies mean what they hold and no more, and a request that
// it does not answer holds up nobody else.
#include "members.h"
#include "one_port.h"
#include "support/latch.h"

#include <array>
#include <random>
#include <thread>

namespace zorvan::simulation {

namespace {

using protocol::Bytes;
using protocol::Query;

// Reads as far as the reply goes; all beyond is zeros.
using Reply = protocol::RecordReader;

using Numbers = std::array<std::uint32_t, 2>;
using Counters = std::array<std::uint64_t, 3>;

Answer flag(bool value) {
    return {S_OK, value ? L"-1" : L"0"};
}
Answer counter(std::uint64_t value) {
    return {S_OK, std::to_wstring(value)};
}
Answer secondText(Reply reply) {
    reply.readString();
    return {S_OK, reply.readString()};
}
// No handle of the host has the value that the driver tells.
Answer badHandle(Reply) {
    return {E_HANDLE};
}

// What each member makes of a reply.
// clang-format off
const std::map<std::string, std::function<Answer(Reply)>> kMeanings = {
    {"mode", [](Reply reply) { return counter(reply.read<std::uint32_t>()); }},
    {"enabled", [](Reply reply) { return flag(reply.read<std::uint8_t>() != 0); }},
    {"connections", [](Reply reply) { return counter(reply.read<Counters>()[0]); }},
    {"bytesSent", [](Reply reply) { return counter(reply.read<Counters>()[1]); }},
    {"bytesReceived", [](Reply reply) { return counter(reply.read<Counters>()[2]); }},
    {"emulateTxOverflow", [](Reply reply) { return flag(reply.read<Numbers>()[1] != 0); }},
    {"crossoverProbability", [](Reply reply) { return Answer{S_OK, std::to_wstring(reply.read<Numbers>()[1] * 0.001)}; }},
    {"securityDescriptor", [](Reply reply) { return Answer{S_OK, reply.readString()}; }},
    {"remoteServer", [](Reply reply) { return Answer{S_OK, reply.readString()}; }},
    {"remotePort", secondText},
    {"remoteEndpoint", [](Reply reply) {
         return Answer{S_OK, L"\\\\" + Reply(reply).readString() + L"\\" + secondText(reply).value}; }},
    {"pair", [](Reply reply) {
         return Answer{reply.read<std::uint32_t>() == 0 ? E_FAIL : HRESULT_FROM_WIN32(ERROR_NOT_FOUND)}; }},
    {"PipeName", badHandle}, {"inputFileName", badHandle}, {"outputFileName", badHandle},
};
// clang-format on

// Replies of a length: nothing but zeros, ones or noise, and noise after a count that is true, or promises too much
// or too little.
void append(std::vector<Bytes>& replies, std::size_t length) {
    std::mt19937 random(static_cast<unsigned>(length));
    Bytes noise(length);
    for (auto& byte : noise)
        byte = static_cast<std::uint8_t>(random());
    replies.insert(replies.end(), {Bytes(length), Bytes(length, 0xFF), noise});
    const auto units = static_cast<std::uint32_t>(length < 4 ? 0 : (length - 4) / 2);
    for (const auto count : {1U, units - 1, units, units + 1, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        std::memcpy(noise.data(), &count, std::min(length, sizeof count));
        replies.push_back(noise);
    }
}

// Of up to 64 KiB: no reply is longer than its buffer.
std::vector<Bytes> allReplies() {
    std::vector<Bytes> replies;
    for (std::size_t length = 0; length <= 64; ++length)
        append(replies, length);
    for (std::size_t power = 128; power <= protocol::kReplySize; power *= 2)
        for (const auto length : {power - 1, power})
            append(replies, length);
    return replies;
}

using HostileDriver = OnePort;

TEST_F(HostileDriver, RepliesAreReadAsFarAsTheyGo) {
    const Driver honest = driver();
    const auto held = machine.held();
    const auto replies = allReplies();
    std::size_t tried = 0;
    for (const auto& member : kMembers) {
        if (!kMeanings.contains(member.name))
            continue;
        ++tried;
        forgetCalls();
        member.call(device5(), false);
        const auto code = driver().requests.at(0).code;
        for (const auto& reply : replies) {
            SCOPED_TRACE(std::string(member.name) + ", " + std::to_string(reply.size()) + " bytes");
            driver().answer(code, reply);
            const auto answer = member.call(device5(), false);
            const auto expected = kMeanings.at(member.name)(Reply(reply));
            ASSERT_RESULT(expected.result, answer.result);
            ASSERT_EQ(expected.value, answer.value);
            forgetCalls();
        }
        driver() = honest;
    }
    EXPECT_EQ(tried, kMeanings.size());
    EXPECT_EQ(machine.held(), held);
}

// Whatever the driver says of its process, the device is there; its event is handed over if that process takes it.
TEST_F(HostileDriver, HostMayBeAnyProcess) {
    const auto own = GetCurrentProcessId();
    machine.processes.add(own);
    std::vector<Bytes> said{{}, {1}, Bytes(3, 0xFF), Bytes(protocol::kReplySize, 0xFF)};
    for (const auto id : {DWORD{0}, own, host().id + 1000})
        said.push_back(protocol::RecordWriter().append(std::uint32_t{id}).bytes());
    const Driver honest = driver();
    releaseDevice();
    for (const auto& reply : said) {
        const DWORD id = Reply(reply).read<std::uint32_t>();
        SCOPED_TRACE(id);
        driver() = honest;
        driver().answer(Query::HostProcessId, reply);
        machine.calls.clear();
        const auto library = createLibrary();
        const auto device = SimulationTest::device(*library, L"COM5");
        EXPECT_EQ(read(*device, &Device::get_deleted), VARIANT_FALSE);
        EXPECT_EQ(
            machine.calls.texts("OpenProcess").front(),
            "OpenProcess(0x40, not inheritable, " + std::to_string(id) + ")");
        EXPECT_EQ(driver().state.hostEvent != 0, id == own);
        Bstr name;
        EXPECT_RESULT(
            id == own ? E_HANDLE : HRESULT_FROM_WIN32(ERROR_INVALID_PARAMETER), device->get_PipeName(name.put()));
    }
}

TEST_F(HostileDriver, RequestThatTakesLongHoldsUpNobody) {
    machine.addPort(L"COM6");
    const auto library = this->library();
    refresh(*library);
    const auto other = device(*library, L"COM6");
    const std::function<HRESULT(Device&)> requests[] = {
        [](auto& device) { return device.disconnectDevice(); },
        [](auto& device) { return device.restoreDefaultPins(); },
    };
    for (const auto& request : requests) {
        SCOPED_TRACE(&request - requests);
        test::Latch arrived(1);
        test::Latch released(1);
        machine.calls.after("DeviceIoControl", 1, [&] {
            arrived.arrive();
            simulationMutex().unlock(); // the machine goes on
            released.wait();
            simulationMutex().lock();
        });
        std::thread waiting([&, device = ComPointer<Device>(&device5())] { EXPECT_RESULT(S_OK, request(*device)); });
        arrived.wait();
        for (auto* device : {other.get(), &device5()}) {
            EXPECT_EQ(read(*device, &Device::get_mode), VSDM_Listening);
            EXPECT_RESULT(S_OK, device->startListening(Variant()));
        }
        EXPECT_RESULT(S_OK, other->restoreDefaultPins());
        const auto created = createDevice(*library, L"");
        EXPECT_RESULT(S_OK, created->put_portName(Bstr(L"COM77").get()));
        EXPECT_RESULT(S_OK, created->deleteDevice());
        machine.announce(); // the event thread goes on, too
        EXPECT_EQ(portNames(*library), (std::set<std::wstring>{L"COM5", L"COM6"}));
        released.arrive();
        waiting.join();
    }
}

} // namespace

} // namespace zorvan::simulation
