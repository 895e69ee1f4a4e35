// What all members of a device have in common, and what the settable properties send.
#include "members.h"
#include "one_port.h"

#include <limits>

namespace zorvan::simulation {

namespace {

using protocol::Bytes;

class Members : public OnePort {
protected:
    void SetUp() override {
        OnePort::SetUp();
        prepare();
    }

    // The state that the members need.
    void prepare() {
        machine.users.accounts[L"ann"] = {L"home", L"key"};
        machine.users.actingAs[GetCurrentThreadId()] = L"bob";
        machine.files.existing = {kPipe, L"C:\\in"};
        host().handles[kHostHandle] = std::make_shared<File>(kPipe);
        auto& state = driver().state;
        state.securityDescriptor = state.remoteServer = state.remotePort = L"some text";
        state.pair = driver().hostProcessId;
        state.pipe.pipe = kHostHandle;
        state.files = {kHostHandle, kHostHandle};
        device5().restoreDefaultPins();
        forgetCalls();
    }
};

TEST_F(Members, CallWindowsInOrderAndKeepNothing) {
    const auto held = machine.held();
    for (const auto& member : kMembers) {
        SCOPED_TRACE(member.name);
        prepare();
        EXPECT_RESULT(S_OK, member.call(device5()));
        EXPECT_EQ(steps(), member.steps);
        EXPECT_EQ(machine.held(), held);
        for (const auto& request : driver().requests) {
            const bool reads = (request.code & 0x4000) != 0; // the code says what the handle must allow
            EXPECT_EQ(request.access, reads ? GENERIC_READ : GENERIC_READ | GENERIC_WRITE);
            EXPECT_EQ(request.room, reads ? 0x10000U : 0U);
            EXPECT_EQ(request.nullInput, request.record.empty());
        }
    }
}

// Every request opens the control path afresh, sends one request and closes.
TEST_F(Members, OpenAndCloseForEachRequest) {
    read(device5(), &Device::get_mode);
    const auto control = "control file of " + describe(port().instanceId);
    EXPECT_EQ(
        machine.calls.texts(),
        (std::vector<std::string>{
            "CreateFileW(" + describe(*port().controlPath) + ", 0x80000000, 3, null, 3, 0x20080, null)",
            "DeviceIoControl(" + control + ", 0x81f16008, null, 0, ..., 0x10000, ..., null)",
            "CloseHandle(" + control + ")"}));
}

TEST_F(Members, OfARemovedPortAnswerOrRefuseOrReportTheOpen) {
    removePort();
    for (const auto& member : kMembers) {
        SCOPED_TRACE(member.name);
        EXPECT_RESULT(member.whenRemoved, member.call(device5()));
        EXPECT_EQ(machine.calls.count("CreateFileW"), member.whenRemoved == kAsks ? 1 : 0);
        forgetCalls();
    }
    EXPECT_RESULT(E_INVALIDARG, device5().put_crossoverProbability(0.6));
    EXPECT_EQ(readText(device5(), &Device::get_portName), L"COM5");
    Bstr path;
    EXPECT_RESULT(S_OK, device5().get_path(path.put()));
    EXPECT_EQ(path.get(), nullptr);
    EXPECT_RESULT(E_HANDLE, device5().deleteDevice());
}

TEST_F(Members, SendWhatIsSetUnlessItIsImpossible) {
    const auto sent = [&](HRESULT result) {
        EXPECT_RESULT(S_OK, result);
        return driver().requests.back().record;
    };
    // Intended, unlike enabled: only VARIANT_TRUE itself switches the emulation on.
    for (const auto value : std::initializer_list<VARIANT_BOOL>{-1, 0, 1, 2, -2}) {
        EXPECT_EQ(sent(device5().put_enabled(value)), Bytes{value != 0});
        const std::uint8_t enabled = value == VARIANT_TRUE ? 1 : 0;
        EXPECT_EQ(
            sent(device5().put_emulateTxOverflow(value)),
            (Bytes{1, 0, 0, 0, enabled, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    }
    const std::tuple<double, std::uint8_t, std::uint8_t> rows[] = {{0.5, 0xF4, 1}, {0.25, 250, 0}, {0.0015, 1, 0},
                                                                   {0.0009, 0, 0}, {0.0, 0, 0},    {-0.0, 0, 0}};
    for (const auto& [probability, low, high] : rows) {
        const std::uint8_t enabled = probability != 0.0 ? 1 : 0;
        EXPECT_EQ(
            sent(device5().put_crossoverProbability(probability)),
            (Bytes{0x11, 0, 0, 0, enabled, 0, 0, 0, low, high, 0, 0}));
    }
    forgetCalls();
    const auto nan = std::numeric_limits<double>::quiet_NaN();
    const auto infinity = std::numeric_limits<double>::infinity();
    for (const double impossible : {nan, -nan, infinity, -infinity, 0.5000001, 1.0, -0.0001})
        EXPECT_RESULT(E_INVALIDARG, device5().put_crossoverProbability(impossible)) << impossible;
    EXPECT_EQ(steps(), "");
}

} // namespace

} // namespace zorvan::simulation
