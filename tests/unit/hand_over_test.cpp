// Pipes and files: what the driver is given, what happens to what it is not given, and the names it has open.
#include "one_port.h"

namespace zorvan::simulation {

namespace {

using protocol::Set;

const std::wstring kPipe = L"\\\\.\\pipe\\Serial1";
const std::wstring kInput = L"C:\\in";
const std::wstring kOutput = L"C:\\out";

class HandOver : public OnePort {
protected:
    void SetUp() override {
        OnePort::SetUp();
        machine.files.existing = {kPipe, kInput};
    }

    HRESULT connectToPipe() { return device5().connectToPipe(Bstr(kPipe).get()); }
    HRESULT connectToFiles(FileCreationMode creation = CTF_CreateAlways) {
        return device5().connectToFiles(Bstr(kInput).get(), Bstr(kOutput).get(), creation);
    }

    // The pipe that the driver was given last: 0, or one of its process.
    std::uint64_t pipeSent() { return driver().state.pipe.pipe; }
    std::wstring handedOver(std::uint64_t value) { return dynamic_cast<const File&>(*host().handles.at(value)).path; }
};

TEST_F(HandOver, DriverIsGivenHandlesOfItsProcess) {
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

TEST_F(HandOver, WhatDoesNotOpenIsTheSystemsToRefuse) {
    const Bstr missing(L"\\\\.\\pipe\\none");
    const Bstr noPipe(L"Serial1");
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), device5().connectToPipe(missing.get()));
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND), device5().connectToPipe(nullptr));
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_INVALID_NAME), device5().createAndConnectPipe(noPipe.get(), 1, 0, 0, 0));
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_INVALID_NAME), device5().createAndConnectPipe(nullptr, 1, 0, 0, 0));
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), connectToFiles(CTF_OpenExisting));
    machine.files.existing = {kInput, kOutput};
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_FILE_EXISTS), connectToFiles(CTF_CreateNew));
    machine.files.existing.clear();
    machine.calls.clear();
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), connectToFiles());
    EXPECT_EQ(machine.calls.count("CreateFileW"), 1) << "the output file was opened without an input file";
    EXPECT_TRUE(driver().requests.empty());
}

// Intended: a pipe that cannot be handed over is sent as 0, and the driver decides; files are not sent at all.
TEST_F(HandOver, HostMayRefuse) {
    const auto expectRefusal = [&](DWORD error) {
        driver().state.pipe.pipe = 1;
        EXPECT_RESULT(S_OK, connectToPipe());
        EXPECT_EQ(pipeSent(), 0U);
        EXPECT_RESULT(HRESULT_FROM_WIN32(error), connectToFiles());
        EXPECT_EQ(driver().records(Set::ConnectFiles).size(), 0U);
    };
    for (const DWORD error : {ERROR_INVALID_PARAMETER, ERROR_ACCESS_DENIED}) {
        host().openError = error;
        expectRefusal(error);
    }
    host().openError = ERROR_SUCCESS;
    host().refusesDuplicates = true;
    expectRefusal(ERROR_ACCESS_DENIED);
    driver().refuse(Set::ConnectPipe, ERROR_INVALID_HANDLE);
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_INVALID_HANDLE), connectToPipe());
}

TEST_F(HandOver, NamesAreReadFromTheHandlesThatTheDriverHas) {
    const auto nameOf = [&](const std::wstring& path, Bstr& name) {
        driver().state.pipe.pipe = path.empty() ? 0 : host().own(std::make_shared<File>(path));
        return device5().get_PipeName(name.put());
    };
    const std::wstring longest = L"\\\\.\\pipe" + std::wstring(358, L'x');
    Bstr name;
    Bstr none;
    EXPECT_RESULT(S_OK, nameOf(longest, name));
    EXPECT_EQ(name.text(), longest);
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_MORE_DATA), nameOf(longest + L"x", none));
    EXPECT_RESULT(E_HANDLE, nameOf(L"", none)); // no pipe is connected
    EXPECT_EQ(none.get(), nullptr);
    driver().state.files = {host().own(std::make_shared<File>(kOutput)), host().own(std::make_shared<File>(kInput))};
    EXPECT_EQ(readText(device5(), &IVirtualSerialDevice::get_outputFileName), L"\\out");
    EXPECT_EQ(readText(device5(), &IVirtualSerialDevice::get_inputFileName), L"\\in");
}

} // namespace

} // namespace zorvan::simulation
