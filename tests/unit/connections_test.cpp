// Listening, pipes, files and bridges: what the driver is sent, and what is made of what it says.
#include "one_port.h"

namespace zorvan::simulation {

namespace {

using protocol::RecordWriter;
using protocol::Set;

const std::wstring kPipe = L"\\\\.\\pipe\\Serial1";
const std::wstring kInput = L"C:\\in";
const std::wstring kOutput = L"C:\\out";
const std::wstring kPassword = L"open sesame";

std::vector<protocol::Bytes> once(const RecordWriter& record) {
    return {record.bytes()};
}

RecordWriter bridgeRecord(const std::vector<std::wstring>& texts, std::uint8_t permanent) {
    RecordWriter record;
    for (const auto& text : texts)
        record.appendString(text);
    return record.append(permanent);
}

class Connections : public OnePort {
protected:
    void SetUp() override {
        partnerPort_ = &machine.addPort(L"COM6");
        OnePort::SetUp();
        machine.files.existing = {kPipe, kInput};
        machine.users.accounts[L"ann"] = {L"home", kPassword};
    }

    DeviceNode& partnerNode() { return *partnerPort_; }
    ComPointer<IVirtualSerialDevice> partner() { return device(*library(), L"COM6"); }

    HRESULT connectToPipe() { return device5().connectToPipe(Bstr(kPipe).get()); }
    HRESULT connectToFiles(FileCreationMode creation = CTF_CreateAlways) {
        return device5().connectToFiles(Bstr(kInput).get(), Bstr(kOutput).get(), creation);
    }
    HRESULT bridgeTo(const wchar_t* server, VARIANT_BOOL permanent, const std::wstring& password) {
        return device5().createRemoteBridge(
            Bstr(L"COM9").get(), Bstr(server).get(), permanent, Bstr(L"ann").get(), Bstr(password).get(),
            Bstr(L"home").get());
    }

    // The pipe that the driver was given last: 0, or one of its process.
    std::uint64_t pipeSent() { return driver().state.pipe.pipe; }
    std::wstring handedOver(std::uint64_t value) { return dynamic_cast<const File&>(*host().handles.at(value)).path; }

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
        EXPECT_EQ(driver().records(Set::StartListening), once(RecordWriter().appendString(text)));
    }
    forgetCalls();
    for (const wchar_t* invalid : {L"nonsense", L"D:(A;;CC;;;WD", L"X:"})
        EXPECT_TRUE(FAILED(device5().startListening(Variant(invalid)))) << invalid;
    EXPECT_TRUE(driver().requests.empty());
}

TEST_F(Connections, DriverIsGivenHandlesOfItsProcess) {
    EXPECT_RESULT(S_OK, connectToPipe());
    EXPECT_EQ(handedOver(pipeSent()), kPipe);
    EXPECT_EQ(driver().state.pipe.serverEnd, 0);
    EXPECT_RESULT(S_OK, device5().createAndConnectPipe(Bstr(L"\\\\.\\pipe\\own").get(), 1, 0, 0, 0));
    EXPECT_EQ(handedOver(pipeSent()), L"\\\\.\\pipe\\own");
    EXPECT_EQ(driver().state.pipe.serverEnd, 1);
    EXPECT_RESULT(S_OK, connectToFiles());
    EXPECT_EQ(handedOver(driver().state.files.outputFile), kOutput);
    EXPECT_EQ(handedOver(driver().state.files.inputFile), kInput);
}

TEST_F(Connections, WhatDoesNotOpenIsTheSystemsToRefuse) {
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND), device5().connectToPipe(nullptr));
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_INVALID_NAME), device5().createAndConnectPipe(nullptr, 1, 0, 0, 0));
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), connectToFiles(CTF_OpenExisting));
    machine.files.existing.clear();
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), connectToFiles());
    EXPECT_FALSE(machine.files.existing.contains(kOutput)) << "the output file was made without an input file";
    EXPECT_TRUE(driver().requests.empty());
}

// Intended: a pipe that cannot be handed over is sent as 0, and the driver decides; files are not sent at all.
TEST_F(Connections, HostMayRefuse) {
    const auto expectRefusal = [&](DWORD error) {
        driver().state.pipe.pipe = 1;
        EXPECT_RESULT(S_OK, connectToPipe());
        EXPECT_EQ(pipeSent(), 0U);
        EXPECT_RESULT(HRESULT_FROM_WIN32(error), connectToFiles());
        EXPECT_EQ(driver().records(Set::ConnectFiles).size(), 0U);
    };
    host().openError = ERROR_INVALID_PARAMETER;
    expectRefusal(ERROR_INVALID_PARAMETER);
    host().openError = ERROR_SUCCESS;
    host().refusesDuplicates = true;
    expectRefusal(ERROR_ACCESS_DENIED);
}

TEST_F(Connections, NamesAreReadFromTheHandlesThatTheDriverHas) {
    const auto nameOf = [&](const std::wstring& path, Bstr& name) {
        driver().state.pipe.pipe = host().own(std::make_shared<File>(path));
        return device5().get_PipeName(name.put());
    };
    const std::wstring longest = L"\\\\.\\pipe" + std::wstring(358, L'x');
    Bstr name;
    Bstr none;
    EXPECT_RESULT(S_OK, nameOf(longest, name));
    EXPECT_EQ(name.text(), longest);
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_MORE_DATA), nameOf(longest + L"x", none));
    driver().state.files = {host().own(std::make_shared<File>(kOutput)), host().own(std::make_shared<File>(kInput))};
    EXPECT_EQ(readText(device5(), &IVirtualSerialDevice::get_outputFileName), L"\\out");
    EXPECT_EQ(readText(device5(), &IVirtualSerialDevice::get_inputFileName), L"\\in");
}

TEST_F(Connections, PartnerOfABridgeListensToEveryoneAndIsNamed) {
    for (const auto permanent : std::initializer_list<VARIANT_BOOL>{-1, 0, 1}) {
        forgetCalls();
        partnerNode().driver.requests.clear();
        EXPECT_RESULT(S_OK, device5().createBridge(partner().get(), permanent));
        EXPECT_EQ(
            partnerNode().driver.records(Set::StartListening),
            once(RecordWriter().appendString(L"D:AR(A;;CC;;;WD)")));
        EXPECT_EQ(
            driver().records(Set::CreateBridge),
            once(bridgeRecord({L"COM6", L".", L"", L"", L""}, permanent != 0 ? 1 : 0)));
    }
    driver().state.pair = partnerNode().driver.hostProcessId;
    EXPECT_EQ(readObject(device5(), &IVirtualSerialDevice::get_pair).get(), partner().get());
}

TEST_F(Connections, UserOfAPermanentRemoteBridgeIsLoggedOnFirst) {
    const struct {
        const wchar_t* server;
        VARIANT_BOOL permanent;
        bool logsOn;
    } rows[] = {
        {L"far", VARIANT_TRUE, true},   {L"..", 1, true}, {L"", VARIANT_TRUE, true}, {L".", VARIANT_TRUE, false},
        {L"far", VARIANT_FALSE, false},
    };
    for (const auto& [server, permanent, logsOn] : rows)
        for (const auto& password : {kPassword, std::wstring(L"wrong")}) {
            SCOPED_TRACE(describe(server) + " " + std::to_string(permanent) + " " + describe(password));
            const bool refused = logsOn && password != kPassword;
            forgetCalls();
            EXPECT_RESULT(
                refused ? HRESULT_FROM_WIN32(ERROR_LOGON_FAILURE) : S_OK, bridgeTo(server, permanent, password));
            const auto record = bridgeRecord({L"COM9", server, L"ann", password, L"home"}, permanent != 0 ? 1 : 0);
            EXPECT_EQ(driver().records(Set::CreateBridge), refused ? std::vector<protocol::Bytes>() : once(record));
            EXPECT_EQ(machine.calls.count("LogonUserW"), logsOn ? 1 : 0);
            EXPECT_EQ(machine.calls.count("SetThreadToken"), 0) << "the thread had no token of its own";
        }
}

TEST_F(Connections, RemoteEndpointIsShownAsOnTheNetwork) {
    const std::wstring longName(100, L'w');
    const struct {
        std::wstring hostName, server, shown;
    } rows[] = {
        {L"workshop", L".", L"\\\\.\\COM9"},
        {L"workshop", L"workshop", L"COM9"},
        {L"workshop", L"Workshop", L"\\\\Workshop\\COM9"}, // intended: the case counts
        {longName, longName, L"COM9"},
        {L"workshop", L"", L"\\\\\\COM9"},
    };
    for (const auto& row : rows) {
        machine.hostName = row.hostName;
        driver().state.remoteServer = row.server;
        driver().state.remotePort = L"COM9";
        EXPECT_EQ(readText(device5(), &IVirtualSerialDevice::get_remoteEndpoint), row.shown);
    }
}

} // namespace

} // namespace zorvan::simulation
