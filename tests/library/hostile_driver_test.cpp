// A driver that says anything, or nothing for long: its replies mean what they hold and no more, and a request that
// it does not answer holds up nobody else.
#include "listed_members.h"
#include "one_port.h"
#include "support/signal.h"

#include <thread>

namespace zorvan::simulation {

namespace {

using protocol::Bytes;
using protocol::Query;

using Device = IVirtualSerialDevice;
using HostileDriver = OnePort;

// All beyond is zeros. Text that is promised and not there is none; half a character is none either.
TEST_F(HostileDriver, RepliesAreReadAsFarAsTheyGo) {
    const Bytes cut{2, 0, 0, 0, 'C', 0, 'O'};
    const struct {
        const char* member;
        Query query;
        const char* ofNothing;
        const char* ofCut;
    } rows[] = {
        {"securityDescriptor", Query::SecurityDescriptor, "", "C"},
        {"remoteServer", Query::RemoteEndpoint, "", "C"},
        {"remotePort", Query::RemoteEndpoint, "", ""},
        {"mode", Query::Mode, "0", "2"},
        {"enabled", Query::Enabled, "0", "-1"},
        {"bytesSent", Query::Traffic, "0", "0"},
        {"emulateTxOverflow", Query::ErrorEmulationLong, "0", "-1"},
    };
    for (const auto& row : rows)
        for (const auto& [reply, value] : {std::pair{Bytes{}, row.ofNothing}, {cut, row.ofCut}}) {
            OutParameter out;
            driver().answer(row.query, reply);
            callListed("IVirtualSerialDevice::get_" + std::string(row.member), device5(), out);
            EXPECT_EQ(out.text(), value) << row.member;
        }
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
        const DWORD id = protocol::RecordReader(reply).read<std::uint32_t>();
        SCOPED_TRACE(id);
        driver() = honest;
        driver().answer(Query::HostProcessId, reply);
        machine.calls.clear();
        const auto library = createLibrary();
        const auto device = SimulationTest::device(*library, L"COM5");
        EXPECT_EQ(read(*device, &Device::get_deleted), VARIANT_FALSE);
        EXPECT_EQ(machine.calls.texts("OpenProcess").front(), "OpenProcess(64, 0, " + describe(id) + ")");
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
        Signal arrived;
        Signal released;
        machine.calls.after("DeviceIoControl", 1, [&] {
            arrived.tell();
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
        released.tell();
        waiting.join();
    }
}

} // namespace

} // namespace zorvan::simulation
