// A driver that says anything, or nothing for long: its replies mean what they hold and no more, and a request that
// it does not answer holds up nobody else.
#include "one_port.h"
#include "simulation/subscribers.h"
#include "support/latch.h"

#include <random>
#include <thread>
#include <type_traits>

namespace zorvan::simulation {

namespace {

using protocol::Bytes;
using protocol::Query;
using protocol::Set;

// What a member makes of a reply: its result, and the value as a text.
using Outcome = std::pair<Result, std::wstring>;

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

struct Member {
    const char* name;
    Query query;
    std::function<Outcome(IVirtualSerialDevice&)> read;
    std::function<Outcome(const Reading&)> expected;
};

template <auto kGetter>
Outcome text(IVirtualSerialDevice& device) {
    Bstr text;
    const HRESULT result = (device.*kGetter)(text.put());
    EXPECT_EQ(text.get() == nullptr, text.text().empty());
    return {{result}, text.text()};
}

template <class Value>
std::function<Outcome(IVirtualSerialDevice&)>
number(HRESULT (STDMETHODCALLTYPE IVirtualSerialDevice::*getter)(Value*)) {
    return [getter](IVirtualSerialDevice& device) -> Outcome {
        Value value{};
        const HRESULT result = (device.*getter)(&value);
        if constexpr (std::is_enum_v<Value>)
            return {{result}, std::to_wstring(static_cast<std::uint32_t>(value))};
        else
            return {{result}, std::to_wstring(value)};
    };
}

Outcome pair(IVirtualSerialDevice& device) {
    ComPointer<IVirtualSerialDevice> partner;
    const HRESULT result = device.get_pair(partner.put());
    return {{result}, partner ? readText(*partner, &IVirtualSerialDevice::get_portName) : L""};
}

Outcome success(std::wstring value) {
    return {{S_OK}, std::move(value)};
}

// No handle of the host has the value that the driver tells.
Outcome badHandle(const Reading&) {
    return {{E_HANDLE}, L""};
}

// clang-format off
const Member kMembers[] = {
    {"mode", Query::Mode, number(&IVirtualSerialDevice::get_mode),
     [](auto& reply) { return success(std::to_wstring(reply.number(0, 4))); }},
    {"enabled", Query::Enabled, number(&IVirtualSerialDevice::get_enabled),
     [](auto& reply) { return success(reply.number(0, 1) != 0 ? L"-1" : L"0"); }},
    {"connections", Query::Traffic, number(&IVirtualSerialDevice::get_connections),
     [](auto& reply) { return success(std::to_wstring(reply.number(0, 8))); }},
    {"bytesSent", Query::Traffic, number(&IVirtualSerialDevice::get_bytesSent),
     [](auto& reply) { return success(std::to_wstring(reply.number(8, 8))); }},
    {"bytesReceived", Query::Traffic, number(&IVirtualSerialDevice::get_bytesReceived),
     [](auto& reply) { return success(std::to_wstring(reply.number(16, 8))); }},
    {"emulateTxOverflow", Query::ErrorEmulationLong, number(&IVirtualSerialDevice::get_emulateTxOverflow),
     [](auto& reply) { return success(reply.number(4, 4) != 0 ? L"-1" : L"0"); }},
    {"crossoverProbability", Query::ErrorEmulation, number(&IVirtualSerialDevice::get_crossoverProbability),
     [](auto& reply) { return success(std::to_wstring(static_cast<double>(reply.number(4, 4)) * 0.001)); }},
    {"securityDescriptor", Query::SecurityDescriptor, text<&IVirtualSerialDevice::get_securityDescriptor>,
     [](auto& reply) { return success(reply.text(0)); }},
    {"remoteServer", Query::RemoteEndpoint, text<&IVirtualSerialDevice::get_remoteServer>,
     [](auto& reply) { return success(reply.text(0)); }},
    {"remotePort", Query::RemoteEndpoint, text<&IVirtualSerialDevice::get_remotePort>,
     [](auto& reply) { return success(reply.text(1)); }},
    {"remoteEndpoint", Query::RemoteEndpoint, text<&IVirtualSerialDevice::get_remoteEndpoint>,
     [](auto& reply) { return success(L"\\\\" + reply.text(0) + L"\\" + reply.text(1)); }},
    {"pair", Query::Pair, pair, [](auto& reply) {
         return Outcome{{reply.number(0, 4) == 0 ? E_FAIL : HRESULT_FROM_WIN32(ERROR_NOT_FOUND)}, L""}; }},
    {"PipeName", Query::PipeHandle, text<&IVirtualSerialDevice::get_PipeName>, badHandle},
    {"inputFileName", Query::FileHandles, text<&IVirtualSerialDevice::get_inputFileName>, badHandle},
    {"outputFileName", Query::FileHandles, text<&IVirtualSerialDevice::get_outputFileName>, badHandle},
};
// clang-format on

std::vector<std::size_t> lengths() {
    std::vector<std::size_t> all;
    for (std::size_t length = 0; length <= 64; ++length)
        all.push_back(length);
    for (std::size_t power = 128; power <= protocol::kReplySize; power *= 2)
        all.insert(all.end(), {power - 1, power, power + 1});
    all.pop_back(); // no reply is longer than its buffer
    return all;
}

// Replies of one length: nothing but zeros or ones, and noise after a count that is true, or promises too much or
// too little.
class Replies {
public:
    Replies() {
        std::mt19937 random(20);
        for (auto& byte : noise_)
            byte = static_cast<std::uint8_t>(random());
    }

    std::vector<Bytes> of(std::size_t length) const {
        const auto units = static_cast<std::uint32_t>(length < 4 ? 0 : (length - 4) / 2);
        std::vector<Bytes> replies{Bytes(length), Bytes(length, 0xFF)};
        for (const auto count : {0U, 1U, units - 1, units, units + 1, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
            const auto begin = noise_.begin() + count % 4096;
            replies.emplace_back(begin, begin + static_cast<std::ptrdiff_t>(length));
            std::memcpy(replies.back().data(), &count, std::min(length, sizeof count));
        }
        return replies;
    }

    // A reply of this length that is all noise.
    Bytes noise(std::size_t length) const {
        return {noise_.begin(), noise_.begin() + static_cast<std::ptrdiff_t>(length)};
    }

private:
    Bytes noise_ = Bytes(protocol::kReplySize + 4096);
};

class HostileDriver : public OnePort {
protected:
    // Lets the machine go on while the call whose end this is does not return.
    static void waitUnlocked(test::Latch& released) {
        simulationMutex().unlock();
        released.wait();
        simulationMutex().lock();
    }
};

TEST_F(HostileDriver, RepliesAreReadAsFarAsTheyGo) {
    const Driver honest = driver();
    const auto held = machine.held();
    int tried = 0;
    const Replies replies;
    for (const auto& member : kMembers) {
        for (const auto length : lengths())
            for (const auto& reply : replies.of(length)) {
                SCOPED_TRACE(std::string(member.name) + ", " + std::to_string(length) + " bytes");
                driver().answer(member.query, reply);
                ASSERT_EQ(member.read(device5()), member.expected(Reading(reply)));
                forgetCalls();
                ++tried;
            }
        driver() = honest;
    }
    RecordProperty("replies", tried);
    EXPECT_EQ(machine.held(), held);
    EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_mode), VSDM_Listening);
}

// Whatever the driver says of its process, the device is there; its event is handed over if that process takes it.
TEST_F(HostileDriver, HostMayBeAnyProcess) {
    const auto own = GetCurrentProcessId();
    const auto dead = host().id + 1000;
    machine.processes.add(own);
    const Replies replies;
    std::vector<Bytes> said;
    for (const auto length : lengths())
        said.push_back(replies.noise(length));
    for (const std::uint32_t id : {DWORD{0}, own, dead, DWORD{0xFFFFFFFF}})
        said.push_back(protocol::RecordWriter().append(id).bytes());
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
        EXPECT_EQ(read(*device, &IVirtualSerialDevice::get_deleted), VARIANT_FALSE);
        EXPECT_EQ(
            machine.calls.texts("OpenProcess").front(),
            "OpenProcess(0x40, not inheritable, " + std::to_string(id) + ")");
        EXPECT_EQ(driver().state.hostEvent != 0, id == own);
        // A pipe is handed over, or taken back, as the event is.
        machine.files.existing = {L"\\\\.\\pipe\\Serial1"};
        driver().refuse(Set::ConnectPipe, ERROR_BUSY);
        const auto handles = machine.processes.find(own)->handles;
        EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_BUSY), device->connectToPipe(Bstr(L"\\\\.\\pipe\\Serial1").get()));
        EXPECT_EQ(machine.processes.find(own)->handles, handles);
        driver().answer(Query::PipeHandle, Bytes(8, 0x44));
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

    const std::pair<const char*, std::function<HRESULT(IVirtualSerialDevice&)>> requests[] = {
        {"a query", [](auto& device) { return number(&IVirtualSerialDevice::get_mode)(device).first.code; }},
        {"a set", [](auto& device) { return device.disconnectDevice(); }},
        {"pins", [](auto& device) { return device.restoreDefaultPins(); }},
    };
    for (const auto& [name, request] : requests) {
        SCOPED_TRACE(name);
        test::Latch arrived(1);
        test::Latch released(1);
        machine.calls.clear();
        machine.calls.after("DeviceIoControl", 1, [&] {
            arrived.arrive();
            waitUnlocked(released);
        });
        std::thread waiting(
            [&, device = ComPointer<IVirtualSerialDevice>(&device5())] { EXPECT_RESULT(S_OK, request(*device)); });
        arrived.wait();
        for (auto* device : {other.get(), &device5()}) {
            EXPECT_EQ(read(*device, &IVirtualSerialDevice::get_mode), VSDM_Listening);
            EXPECT_RESULT(S_OK, device->startListening(Variant()));
            EXPECT_EQ(read(*device, &IVirtualSerialDevice::get_deleted), VARIANT_FALSE);
        }
        EXPECT_RESULT(S_OK, other->restoreDefaultPins());
        const auto created = createDevice(*library, L"");
        EXPECT_RESULT(S_OK, created->put_portName(Bstr(L"COM77").get()));
        EXPECT_RESULT(S_OK, created->deleteDevice());
        machine.announce();
        machine.signal(neighbour);
        journal.await(events += 4);
        const auto event = neighbour.driver.state.hostEvent;
        EXPECT_EQ(portNames(*createLibrary()), portNames(*library));
        neighbour.driver.state.hostEvent = event; // a driver signals the library that came last
        released.arrive();
        waiting.join();
    }
    EXPECT_RESULT(S_OK, library->removeListener(&listener));
}

// It is the library's lock order that decides who waits then: those who list, but nobody who has a device already.
TEST_F(HostileDriver, PortThatDoesNotOpenHoldsUpNoDevice) {
    test::Latch arrived(1);
    test::Latch released(1);
    machine.addPort(L"COM6");
    machine.calls.after("DeviceIoControl", 1, [&] {
        arrived.arrive();
        waitUnlocked(released);
    });
    const auto library = this->library();
    std::thread creating([&] { createDevice(*library, L"COM7"); });
    arrived.wait();
    EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_mode), VSDM_Listening);
    EXPECT_EQ(readText(device5(), &IVirtualSerialDevice::get_portName), L"COM5");
    EXPECT_RESULT(S_OK, device5().disconnectDevice());
    EXPECT_RESULT(S_OK, library->stopEventDispatching());
    EXPECT_RESULT(S_OK, library->dispatchEvents(nullptr, INFINITE));
    released.arrive();
    creating.join();
    EXPECT_EQ(portNames(*library), (std::set<std::wstring>{L"COM5", L"COM6", L"COM7"}));
}

} // namespace

} // namespace zorvan::simulation
