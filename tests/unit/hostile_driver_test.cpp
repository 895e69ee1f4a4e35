// A driver that says anything, or nothing for long: its replies mean what they hold and no more, and a request that
// it does not answer holds up nobody else.
#include "members.h"
#include "one_port.h"
#include "simulation/subscribers.h"
#include "support/latch.h"

#include <random>
#include <thread>

namespace zorvan::simulation {

namespace {

using protocol::Bytes;
using protocol::Query;

// A reply as it is meant to be read: zeros beyond the end, and texts cut to what is there.
class Reading {
public:
    explicit Reading(const Bytes& reply) : reply_(reply) {}

    std::uint64_t number(std::size_t offset, std::size_t size) const {
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < size && offset + i < reply_.size(); ++i)
            value |= std::uint64_t{reply_[offset + i]} << 8 * i;
        return value;
    }

    // The nth counted text.
    std::wstring text(int nth) const {
        std::wstring text;
        for (std::size_t offset = 0; nth >= 0; --nth) {
            const auto count = number(offset, 4);
            text.clear();
            for (offset += 4; text.size() < count && offset + 2 <= reply_.size(); offset += 2)
                text += static_cast<wchar_t>(number(offset, 2));
        }
        return text;
    }

private:
    const Bytes& reply_;
};

// No handle of the host has the value that the driver tells.
Answer badHandle(const Reading&) {
    return {E_HANDLE};
}

// What each member makes of a reply.
// clang-format off
const std::map<std::string, std::function<Answer(const Reading&)>> kAnswers = {
    {"mode", [](auto& reply) { return Answer{S_OK, std::to_wstring(reply.number(0, 4))}; }},
    {"enabled", [](auto& reply) { return Answer{S_OK, reply.number(0, 1) != 0 ? L"-1" : L"0"}; }},
    {"connections", [](auto& reply) { return Answer{S_OK, std::to_wstring(reply.number(0, 8))}; }},
    {"bytesSent", [](auto& reply) { return Answer{S_OK, std::to_wstring(reply.number(8, 8))}; }},
    {"bytesReceived", [](auto& reply) { return Answer{S_OK, std::to_wstring(reply.number(16, 8))}; }},
    {"emulateTxOverflow", [](auto& reply) { return Answer{S_OK, reply.number(4, 4) != 0 ? L"-1" : L"0"}; }},
    {"crossoverProbability", [](auto& reply) {
         return Answer{S_OK, std::to_wstring(static_cast<double>(reply.number(4, 4)) * 0.001)}; }},
    {"securityDescriptor", [](auto& reply) { return Answer{S_OK, reply.text(0)}; }},
    {"remoteServer", [](auto& reply) { return Answer{S_OK, reply.text(0)}; }},
    {"remotePort", [](auto& reply) { return Answer{S_OK, reply.text(1)}; }},
    {"remoteEndpoint", [](auto& reply) { return Answer{S_OK, L"\\\\" + reply.text(0) + L"\\" + reply.text(1)}; }},
    {"pair", [](auto& reply) {
         return Answer{reply.number(0, 4) == 0 ? E_FAIL : HRESULT_FROM_WIN32(ERROR_NOT_FOUND)}; }},
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
    for (const auto& member : kMembers) {
        forgetCalls();
        if (!kAnswers.contains(member.name))
            continue;
        member.call(device5(), false);
        const auto code = driver().requests.at(0).code;
        for (const auto& reply : replies) {
            SCOPED_TRACE(std::string(member.name) + ", " + std::to_string(reply.size()) + " bytes");
            driver().answer(code, reply);
            ASSERT_TRUE(member.call(device5(), false) == kAnswers.at(member.name)(Reading(reply)));
            forgetCalls();
        }
        driver() = honest;
    }
    EXPECT_EQ(machine.held(), held);
    EXPECT_EQ(read(device5(), &Device::get_mode), VSDM_Listening);
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
        const auto id = static_cast<DWORD>(Reading(reply).number(0, 4));
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
    Journal journal;
    Listener listener(journal, "listener");
    auto& neighbour = machine.addPort(L"COM6");
    const auto library = this->library();
    EXPECT_RESULT(S_OK, library->addListener(&listener));
    machine.announce();
    const auto other = device(*library, L"COM6");
    std::size_t events = journal.texts().size();

    const std::function<HRESULT(Device&)> requests[] = {
        [](auto& device) { return device.disconnectDevice(); },
        [](auto& device) { return device.restoreDefaultPins(); }};
    for (const auto& request : requests) {
        SCOPED_TRACE(&request - requests);
        test::Latch arrived(1);
        test::Latch released(1);
        machine.calls.clear();
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
        machine.announce();
        machine.signal(neighbour);
        journal.await(events += 4);
        EXPECT_EQ(portNames(*library).size(), 2U);
        released.arrive();
        waiting.join();
    }
    EXPECT_RESULT(S_OK, library->removeListener(&listener));
}

} // namespace

} // namespace zorvan::simulation
