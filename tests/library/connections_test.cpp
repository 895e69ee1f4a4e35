// Listening, pipes, files and bridges: what the driver is sent, and what is made of what it says.
#include "one_port.h"

namespace zorvan::simulation {

namespace {

using protocol::RecordWriter;
using protocol::Set;

class Connections : public OnePort {
protected:
    void SetUp() override {
        partnerPort_ = &machine.addPort(L"COM6");
        OnePort::SetUp();
        machine.files.existing = {kPipe, L"C:\\in"};
    }

    DeviceNode& partnerNode() { return *partnerPort_; }

    HRESULT connectToFiles() {
        return device5().connectToFiles(Bstr(L"C:\\in").get(), Bstr(L"C:\\out").get(), CTF_CreateAlways);
    }

private:
    DeviceNode* partnerPort_ = nullptr;
};

TEST_F(Connections, ListenerIsSentItsDescriptorAsItIs) {
    const std::pair<Variant, std::wstring> rows[] = {
        {Variant(), L"D:AR(A;;CC;;;WD)"},
        {Variant::omitted(), L"D:AR(A;;CC;;;WD)"},
        {Variant(L"O:BAD:(A;;GA;;;BA)"), L"O:BAD:(A;;GA;;;BA)"}};
    for (const auto& [argument, text] : rows) {
        forgetCalls();
        EXPECT_RESULT(S_OK, device5().startListening(argument));
        EXPECT_EQ(
            driver().records(Set::StartListening), std::vector<Bytes>{RecordWriter().appendString(text).bytes()});
    }
    forgetCalls();
    EXPECT_TRUE(FAILED(device5().startListening(Variant(L"D:(A;;CC;;;WD"))));
    EXPECT_TRUE(driver().requests.empty());
}

// Intended: a pipe that cannot be handed over is sent as 0, and the driver decides; files are not sent at all.
TEST_F(Connections, HandlesAreThoseOfTheHostWhichMayRefuseThem) {
    auto& state = driver().state;
    const auto handedOver = [&](std::uint64_t value) {
        return dynamic_cast<const File&>(*host().handles.at(value)).path;
    };
    EXPECT_RESULT(S_OK, device5().createAndConnectPipe(Bstr(kPipe).get(), 1, 0, 0, 0));
    EXPECT_EQ(handedOver(state.pipe.pipe), kPipe);
    EXPECT_EQ(state.pipe.serverEnd, 1);
    EXPECT_RESULT(S_OK, connectToFiles());
    EXPECT_EQ(handedOver(state.files.outputFile), L"C:\\out");
    EXPECT_EQ(handedOver(state.files.inputFile), L"C:\\in");
    host().refusesDuplicates = true;
    EXPECT_RESULT(S_OK, device5().connectToPipe(Bstr(kPipe).get()));
    EXPECT_EQ(state.pipe.pipe, 0U);
    EXPECT_EQ(state.pipe.serverEnd, 0);
    EXPECT_RESULT(E_ACCESSDENIED, connectToFiles());
    EXPECT_EQ(driver().records(Set::ConnectFiles).size(), 1U);

    machine.files.existing.clear();
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), connectToFiles());
    EXPECT_FALSE(machine.files.existing.contains(L"C:\\out")) << "it was made without an input file";
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND), device5().connectToPipe(nullptr));
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_INVALID_NAME), device5().createAndConnectPipe(nullptr, 1, 0, 0, 0));
}

// What was sent is the host's, whatever the driver says, and may stand for something else by then.
TEST_F(Connections, OnlyHandlesThatWereNotSentAreTakenBack) {
    const auto held = host().handles.size();
    // How often the host process is opened: for the output, the input, and each of them again to take it back.
    const std::tuple<const char*, int, int> rows[] = {
        {"DuplicateHandle", 2, 3}, {"CreateFileW", 3, 4}, {"DeviceIoControl", 1, 2}};
    for (const auto& [function, nth, openings] : rows) {
        SCOPED_TRACE(function);
        forgetCalls();
        machine.fail(function, nth, ERROR_BUSY);
        EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_BUSY), connectToFiles());
        EXPECT_EQ(machine.calls.count("OpenProcess"), openings);
        EXPECT_EQ(host().handles.size(), held);
    }
    // A device that is marked deleted meanwhile has been looked at: nothing asks for the process with the number 0.
    machine.calls.after("CreateFileW", 2, [this] { removePort(); });
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), connectToFiles());
    EXPECT_EQ(machine.calls.count("OpenProcess"), 4);
    EXPECT_EQ(host().handles.size(), held);
}

TEST_F(Connections, PartnerOfABridgeListensToEveryoneAndIsNamed) {
    const auto partner = device(*library(), L"COM6");
    for (const auto permanent : std::initializer_list<VARIANT_BOOL>{-1, 0, 1}) {
        forgetCalls();
        EXPECT_RESULT(S_OK, device5().createBridge(partner.get(), permanent));
        const std::uint8_t flag = permanent != 0 ? 1 : 0;
        EXPECT_EQ(driver().records(Set::CreateBridge), (std::vector<Bytes>{{4, 0, 0, 0, 'C', 0,   'O', 0, 'M', 0, '6',
                                                                            0, 1, 0, 0, 0,   '.', 0,   0, 0,   0, 0,
                                                                            0, 0, 0, 0, 0,   0,   0,   0, flag}}));
    }
    EXPECT_EQ(
        partnerNode().driver.records(Set::StartListening),
        std::vector<Bytes>(3, RecordWriter().appendString(L"D:AR(A;;CC;;;WD)").bytes()));
    driver().state.pair = partnerNode().driver.hostProcessId;
    EXPECT_EQ(readObject(device5(), &IVirtualSerialDevice::get_pair).get(), partner.get());
    // Also one that is not alive, because its driver refused the event.
    partnerNode().driver.refuse(Set::HostEvent, ERROR_BUSY);
    const auto other = createLibrary();
    EXPECT_EQ(readObject(*device(*other, L"COM5"), &IVirtualSerialDevice::get_pair).get(), device(*other, L"").get());
}

TEST_F(Connections, UserOfAPermanentRemoteBridgeIsLoggedOnFirst) {
    const std::tuple<const wchar_t*, VARIANT_BOOL, const wchar_t*, int, HRESULT> rows[] = {
        {L"far", VARIANT_TRUE, L"key", 1, S_OK},    {L"far", 1, L"wrong", 1, HRESULT_FROM_WIN32(ERROR_LOGON_FAILURE)},
        {L"", VARIANT_TRUE, L"key", 1, S_OK},       {L".", VARIANT_TRUE, L"wrong", 0, S_OK},
        {L"far", VARIANT_FALSE, L"wrong", 0, S_OK},
    };
    machine.users.accounts[L"ann"] = {L"home", L"key"};
    for (const auto& [server, permanent, password, logons, result] : rows) {
        SCOPED_TRACE(describe(server) + " " + std::to_string(permanent) + " " + describe(password));
        forgetCalls();
        EXPECT_RESULT(
            result, device5().createRemoteBridge(
                        Bstr(L"COM9").get(), Bstr(server).get(), permanent, Bstr(L"ann").get(), Bstr(password).get(),
                        Bstr(L"home").get()));
        RecordWriter record;
        for (const auto* text : {L"COM9", server, L"ann", password, L"home"})
            record.appendString(text);
        record.append(std::uint8_t{permanent != 0});
        EXPECT_EQ(driver().records(Set::CreateBridge), std::vector<Bytes>(result == S_OK ? 1 : 0, record.bytes()));
        EXPECT_EQ(machine.calls.count("LogonUserW"), logons);
        EXPECT_EQ(machine.calls.count("SetThreadToken"), 0) << "the thread had no token of its own";
    }
    // Credentials that are not there are empty ones: null means more to the system.
    EXPECT_TRUE(FAILED(device5().createRemoteBridge(nullptr, nullptr, VARIANT_TRUE, nullptr, nullptr, nullptr)));
    EXPECT_EQ(machine.calls.texts("LogonUserW").back(), "LogonUserW(8, 0, ...)");
}

TEST_F(Connections, RemoteEndpointIsShownAsOnTheNetwork) {
    const std::wstring longName(100, L'w');
    const std::tuple<std::wstring, std::wstring, std::wstring> rows[] = {
        {L"workshop", L".", L"\\\\.\\COM9"},
        {L"workshop", L"Workshop", L"\\\\Workshop\\COM9"}, // intended: the case counts
        {longName, longName, L"COM9"},
        {L"workshop", L"", L"\\\\\\COM9"},
    };
    for (const auto& [hostName, server, shown] : rows) {
        machine.hostName = hostName;
        driver().state.remoteServer = server;
        driver().state.remotePort = L"COM9";
        EXPECT_EQ(readText(device5(), &IVirtualSerialDevice::get_remoteEndpoint), shown);
    }
}

} // namespace

} // namespace zorvan::simulation
