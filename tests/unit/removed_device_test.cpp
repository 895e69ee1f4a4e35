// A device object whose port is gone: which members still answer, and how the others refuse.
#include "simulation/simulation_test.h"

#include <functional>

namespace zorvan::simulation {

namespace {

// What out-parameters hold before the call. Nothing may write them when it fails.
constexpr std::uint64_t kUntouched = 0x5A5A5A5A5A5A5A5A;

union Out {
    std::uint64_t number;
    VirtualSerialDeviceMode mode;
    VARIANT_BOOL boolean;
    MIDL_uhyper counter;
    double real;
};

struct Member {
    const char* name;
    std::function<HRESULT(IVirtualSerialDevice&, Out&)> call;
};

const Member kTestAliveFirst[] = {
    {"mode", [](auto& d, Out& out) { return d.get_mode(&out.mode); }},
    {"enabled", [](auto& d, Out& out) { return d.get_enabled(&out.boolean); }},
    {"put enabled", [](auto& d, Out&) { return d.put_enabled(VARIANT_TRUE); }},
    {"connections", [](auto& d, Out& out) { return d.get_connections(&out.counter); }},
    {"bytesSent", [](auto& d, Out& out) { return d.get_bytesSent(&out.counter); }},
    {"bytesReceived", [](auto& d, Out& out) { return d.get_bytesReceived(&out.counter); }},
    {"deleteDevice", [](auto& d, Out&) { return d.deleteDevice(); }},
    {"disconnectDevice", [](auto& d, Out&) { return d.disconnectDevice(); }},
};

const Member kAskTheDriver[] = {
    {"emulateTxOverflow", [](auto& d, Out& out) { return d.get_emulateTxOverflow(&out.boolean); }},
    {"put emulateTxOverflow", [](auto& d, Out&) { return d.put_emulateTxOverflow(VARIANT_TRUE); }},
    {"crossoverProbability", [](auto& d, Out& out) { return d.get_crossoverProbability(&out.real); }},
    {"put crossoverProbability", [](auto& d, Out&) { return d.put_crossoverProbability(0.1); }},
};

template <std::size_t Count>
void expectFailures(IVirtualSerialDevice& device, const Member (&members)[Count], HRESULT expected) {
    for (const auto& member : members) {
        SCOPED_TRACE(member.name);
        Out out{kUntouched};
        EXPECT_RESULT(expected, member.call(device, out));
        EXPECT_EQ(out.number, kUntouched);
    }
}

class RemovedDevice : public SimulationTest {
protected:
    ComPointer<IVirtualSerialDevice> removed() {
        auto& port = machine.addPort(L"COM5");
        const auto library = createLibrary();
        auto object = device(*library, L"COM5");
        port.present = false;
        refresh(*library);
        machine.calls.clear();
        return object;
    }
};

TEST_F(RemovedDevice, SaysSoWithoutAskingAnyone) {
    const auto device = removed();
    EXPECT_EQ(read(*device, &IVirtualSerialDevice::get_deleted), VARIANT_TRUE);
    EXPECT_EQ(machine.calls.texts(), std::vector<std::string>());
}

TEST_F(RemovedDevice, KeepsItsNameButNotItsPath) {
    const auto device = removed();
    EXPECT_EQ(readText(*device, &IVirtualSerialDevice::get_portName), L"COM5");
    Bstr path;
    EXPECT_RESULT(S_OK, device->get_path(path.put()));
    EXPECT_EQ(path.get(), nullptr);
    EXPECT_TRUE(readObject(*device, &IVirtualSerialDevice::get_vLibrary));
}

TEST_F(RemovedDevice, MembersThatTestItRefuseBeforeOpeningAnything) {
    const auto device = removed();
    expectFailures(*device, kTestAliveFirst, E_HANDLE);
    EXPECT_EQ(machine.calls.texts(), std::vector<std::string>());
}

TEST_F(RemovedDevice, OthersReportThatTheControlPathDoesNotOpen) {
    const auto device = removed();
    expectFailures(*device, kAskTheDriver, HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND));
    EXPECT_RESULT(E_INVALIDARG, device->put_crossoverProbability(0.6));
}

// Gone, but the library has not looked yet.
TEST_F(RemovedDevice, BeforeTheLibraryNoticesEveryRequestReportsTheOpen) {
    auto& port = machine.addPort(L"COM5");
    const auto device = SimulationTest::device(*createLibrary(), L"COM5");
    port.present = false;
    EXPECT_EQ(read(*device, &IVirtualSerialDevice::get_deleted), VARIANT_FALSE);
    expectFailures(*device, kAskTheDriver, HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    for (const auto& member : kTestAliveFirst)
        if (std::string_view(member.name) != "deleteDevice") {
            SCOPED_TRACE(member.name);
            Out out{kUntouched};
            EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), member.call(*device, out));
            EXPECT_EQ(out.number, kUntouched);
        }
}

TEST_F(RemovedDevice, PortThatComesBackIsANewDevice) {
    auto& port = machine.addPort(L"COM5");
    const auto library = createLibrary();
    const auto before = device(*library, L"COM5");
    port.present = false;
    refresh(*library);
    port.present = true;
    refresh(*library);
    const auto after = device(*library, L"COM5");
    EXPECT_NE(before.get(), after.get());
    EXPECT_EQ(read(*before, &IVirtualSerialDevice::get_deleted), VARIANT_TRUE);
    EXPECT_EQ(read(*after, &IVirtualSerialDevice::get_deleted), VARIANT_FALSE);
    EXPECT_EQ(read(*after, &IVirtualSerialDevice::get_mode), VSDM_Listening);
}

} // namespace

} // namespace zorvan::simulation
