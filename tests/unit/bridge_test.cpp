// Bridges: the request that names the partner, the logon before it, and what the driver says of the other end.
#include "one_port.h"

#include "simulation/heap.h"

namespace zorvan::simulation {

namespace {

using protocol::RecordWriter;
using protocol::Set;

const std::wstring kPassword = L"open sesame";

RecordWriter bridgeRecord(const std::vector<std::wstring>& texts, std::uint8_t permanent) {
    RecordWriter record;
    for (const auto& text : texts)
        record.appendString(text);
    return record.append(permanent);
}

class Bridge : public OnePort {
protected:
    void SetUp() override {
        partnerPort_ = &machine.addPort(L"COM6");
        OnePort::SetUp();
        machine.users.accounts[L"ann"] = {L"home", kPassword};
    }

    DeviceNode& partnerNode() { return *partnerPort_; }
    ComPointer<IVirtualSerialDevice> partner() { return device(*library(), L"COM6"); }

    HRESULT bridgeTo(const wchar_t* server, VARIANT_BOOL permanent, const std::wstring& password = kPassword) {
        return device5().createRemoteBridge(
            Bstr(L"COM9").get(), Bstr(server).get(), permanent, Bstr(L"ann").get(), Bstr(password).get(),
            Bstr(L"home").get());
    }

private:
    DeviceNode* partnerPort_ = nullptr;
};

TEST_F(Bridge, PartnerListensToEveryoneAndIsNamed) {
    const std::pair<VARIANT_BOOL, std::uint8_t> rows[] = {{VARIANT_TRUE, 1}, {VARIANT_FALSE, 0}, {1, 1}};
    for (const auto& [permanent, flag] : rows) {
        forgetCalls();
        partnerNode().driver.requests.clear();
        EXPECT_RESULT(S_OK, device5().createBridge(partner().get(), permanent));
        EXPECT_EQ(
            partnerNode().driver.records(Set::StartListening),
            once(RecordWriter().appendString(L"D:AR(A;;CC;;;WD)")));
        EXPECT_EQ(driver().records(Set::CreateBridge), once(bridgeRecord({L"COM6", L".", L"", L"", L""}, flag)));
    }
}

TEST_F(Bridge, UserOfAPermanentRemoteBridgeIsLoggedOnFirst) {
    const struct {
        const wchar_t* server;
        VARIANT_BOOL permanent;
        bool logsOn;
    } rows[] = {
        {L"far", VARIANT_TRUE, true}, {L"far", 1, true},           {L"..", VARIANT_TRUE, true},
        {L"", VARIANT_TRUE, true},    {L".", VARIANT_TRUE, false}, {L"far", VARIANT_FALSE, false},
    };
    for (const auto& [server, permanent, logsOn] : rows)
        for (const auto& password : {kPassword, std::wstring(L"wrong")}) {
            SCOPED_TRACE(describe(server) + " " + std::to_string(permanent) + " " + describe(password));
            const bool refused = logsOn && password != kPassword;
            forgetCalls();
            EXPECT_RESULT(
                refused ? HRESULT_FROM_WIN32(ERROR_LOGON_FAILURE) : S_OK, bridgeTo(server, permanent, password));
            const auto record =
                bridgeRecord({L"COM9", server, L"ann", password, L"home"}, permanent != VARIANT_FALSE ? 1 : 0);
            EXPECT_EQ(driver().records(Set::CreateBridge), refused ? std::vector<protocol::Bytes>() : once(record));
            EXPECT_EQ(machine.calls.count("LogonUserW"), logsOn ? 1 : 0);
            EXPECT_EQ(machine.calls.count("SetThreadToken"), 0) << "the thread had no token of its own";
            EXPECT_TRUE(machine.users.actingAs.empty());
        }
}

TEST_F(Bridge, PasswordIsLeftInNoMemory) {
    EXPECT_EQ(Heap::freedWith(kPassword, [&] { bridgeTo(L"far", VARIANT_TRUE); }), 0);
    // What is no secret is left: the watch sees it.
    EXPECT_GT(Heap::freedWith(L"COM9", [&] { device5().put_portName(Bstr(L"COM9 and more").get()); }), 0);
}

TEST_F(Bridge, PairIsTheDeviceWithTheNumberThatTheDriverSays) {
    driver().state.pair = partnerNode().driver.hostProcessId;
    EXPECT_EQ(readObject(device5(), &IVirtualSerialDevice::get_pair).get(), partner().get());
}

TEST_F(Bridge, RemoteEndpointIsShownAsOnTheNetwork) {
    const std::wstring longName(100, L'w');
    const struct {
        std::wstring hostName, server, shown;
    } rows[] = {
        {L"workshop", L".", L"\\\\.\\COM9"},
        {L"workshop", L"workshop", L"COM9"},
        {L"workshop", L"Workshop", L"\\\\Workshop\\COM9"}, // intended: the case counts
        {L"workshop", L"workshop.example", L"\\\\workshop.example\\COM9"},
        {longName, longName, L"COM9"},
        {L"workshop", L"", L"\\\\\\COM9"},
    };
    for (const auto& row : rows) {
        machine.hostName = row.hostName;
        driver().state.remoteServer = row.server;
        driver().state.remotePort = L"COM9";
        EXPECT_EQ(readText(device5(), &IVirtualSerialDevice::get_remoteEndpoint), row.shown);
        EXPECT_EQ(readText(device5(), &IVirtualSerialDevice::get_remoteServer), row.server);
        EXPECT_EQ(readText(device5(), &IVirtualSerialDevice::get_remotePort), L"COM9");
    }
}

} // namespace

} // namespace zorvan::simulation
