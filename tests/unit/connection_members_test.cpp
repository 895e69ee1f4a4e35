// What all members about connections have in common: their calls of Windows in order, what becomes of each one's
// failure, a removed port.
#include "one_port.h"

#include <functional>

namespace zorvan::simulation {

namespace {

const std::wstring kPipe = L"\\\\.\\pipe\\Serial1";
constexpr std::uint64_t kHostHandle = 0x77; // what the driver says that it has open
const std::string kNameOfHostHandle = R"(OpenProcess(0x40, not inheritable, HOST)
DuplicateHandle(process HOST, 0x77, own, 0x80, not inheritable, 0x0)
GetModuleHandleW(KERNEL32)
GetProcAddress(GetFileInformationByHandleEx)
GetFileInformationByHandleEx(file \\.\pipe\Serial1, 2, 720)
CloseHandle(file \\.\pipe\Serial1)
CloseHandle(process HOST)
)";

struct Member {
    const char* name;
    bool testsAlive; // before anything else
    std::function<HRESULT(IVirtualSerialDevice&)> call;
    std::string steps;
    // Calls of Windows that may fail without the member failing: what comes of it is in the member's own tests.
    std::set<std::string> mayFail = {"CloseHandle", "LocalFree"};
};

template <auto kGetter>
HRESULT readString(IVirtualSerialDevice& device) {
    Bstr text;
    return (device.*kGetter)(text.put());
}

HRESULT readPair(IVirtualSerialDevice& device) {
    ComPointer<IVirtualSerialDevice> pair;
    return device.get_pair(pair.put());
}

HRESULT connectPins(IVirtualSerialDevice& device) {
    const auto ri = readObject(*readObject(device, &IVirtualSerialDevice::get_localSocket), &ISocket::get_RI);
    return ri->sendTo(ri.get());
}

// clang-format off
const Member kMembers[] = {
    {"startListening", true, [](auto& d) { return d.startListening(Variant()); },
     "ConvertStringSecurityDescriptorToSecurityDescriptorW(D:AR(A;;CC;;;WD), 1, no size)\n"
     "GetSecurityDescriptorControl()\nLocalFree()\nrequest 0x81f1a03c\n"},
    {"securityDescriptor", true, readString<&IVirtualSerialDevice::get_securityDescriptor>,
     "request 0x81f16040\nSysAllocStringLen(some text)\n"},
    {"connectToPipe", true, [](auto& d) { return d.connectToPipe(Bstr(kPipe).get()); },
     R"(CreateFileW(\\.\pipe\Serial1, 0xc0000000, 3, no attributes, 3, 0x40000000, no template)
OpenProcess(0x40, not inheritable, HOST)
DuplicateHandle(own, file \\.\pipe\Serial1, process HOST, 0x0, not inheritable, 0x2)
CloseHandle(process HOST)
request 0x81f1a00c
CloseHandle(file \\.\pipe\Serial1)
)", {"OpenProcess", "DuplicateHandle", "CloseHandle"}},
    {"createAndConnectPipe", true,
     [](auto& d) { return d.createAndConnectPipe(Bstr(kPipe).get(), 7, 4096, 512, 0xFFFFFFFF); },
     R"(CreateNamedPipeW(\\.\pipe\Serial1, 0x40000003, 0, 7, 4096, 512, 4294967295, no attributes)
OpenProcess(0x40, not inheritable, HOST)
DuplicateHandle(own, file \\.\pipe\Serial1, process HOST, 0x0, not inheritable, 0x2)
CloseHandle(process HOST)
request 0x81f1a00c
CloseHandle(file \\.\pipe\Serial1)
)", {"OpenProcess", "DuplicateHandle", "CloseHandle"}},
    {"PipeName", true, readString<&IVirtualSerialDevice::get_PipeName>,
     "request 0x81f16020\n" + kNameOfHostHandle + "SysAllocStringLen(\\\\.\\pipe\\Serial1)\n"},
    {"createBridge", true, [](auto& d) { return d.createBridge(&d, VARIANT_TRUE); },
     "ConvertStringSecurityDescriptorToSecurityDescriptorW(D:AR(A;;CC;;;WD), 1, no size)\n"
     "GetSecurityDescriptorControl()\nLocalFree()\nrequest 0x81f1a03c\nrequest 0x81f1a028\n"},
    {"pair", true, readPair, "request 0x81f16018\n"},
    {"createRemoteBridge", true,
     [](auto& d) {
         return d.createRemoteBridge(
             nullptr, Bstr(L"far").get(), VARIANT_TRUE, Bstr(L"ann").get(), Bstr(L"key").get(), Bstr(L"home").get());
     },
     R"(LogonUserW(ann, home, key, 8, 0)
OpenThreadToken(own, 0x4, as self)
ImpersonateLoggedOnUser(token of ann)
RevertToSelf()
SetThreadToken(own, token of bob)
CloseHandle(token of bob)
CloseHandle(token of ann)
request 0x81f1a028
)"},
    {"remoteServer", false, readString<&IVirtualSerialDevice::get_remoteServer>,
     "request 0x81f1602c\nSysAllocStringLen(some text)\n"},
    {"remotePort", false, readString<&IVirtualSerialDevice::get_remotePort>,
     "request 0x81f1602c\nSysAllocStringLen(some text)\n"},
    {"remoteEndpoint", false, readString<&IVirtualSerialDevice::get_remoteEndpoint>,
     "request 0x81f1602c\nGetComputerNameExW(1, 16)\nSysAllocStringLen(\\\\some text\\some text)\n"},
    {"restoreDefaultPins", false, [](auto& d) { return d.restoreDefaultPins(); }, "request 0x81f1a04c\n"},
    {"sendTo", false, connectPins, "request 0x81f1a04c\n"},
    {"connectToFiles", true,
     [](auto& d) { return d.connectToFiles(Bstr(L"C:\\in").get(), Bstr(L"C:\\out").get(), CTF_OpenAlways); },
     R"(CreateFileW(C:\in, 0x80000000, 3, no attributes, 3, 0x40000000, no template)
CreateFileW(C:\out, 0x40000000, 1, no attributes, 4, 0x40000000, no template)
OpenProcess(0x40, not inheritable, HOST)
DuplicateHandle(own, file C:\out, process HOST, 0x0, not inheritable, 0x2)
CloseHandle(process HOST)
OpenProcess(0x40, not inheritable, HOST)
DuplicateHandle(own, file C:\in, process HOST, 0x0, not inheritable, 0x2)
CloseHandle(process HOST)
request 0x81f1a01c
CloseHandle(file C:\out)
CloseHandle(file C:\in)
)"},
    {"inputFileName", true, readString<&IVirtualSerialDevice::get_inputFileName>,
     "request 0x81f16024\n" + kNameOfHostHandle + "SysAllocStringLen(\\Serial1)\n"},
    {"outputFileName", true, readString<&IVirtualSerialDevice::get_outputFileName>,
     "request 0x81f16024\n" + kNameOfHostHandle + "SysAllocStringLen(\\Serial1)\n"},
};
// clang-format on

class ConnectionMembers : public OnePort {
protected:
    void SetUp() override {
        OnePort::SetUp();
        machine.users.accounts[L"ann"] = {L"home", L"key"};
        machine.users.actingAs[GetCurrentThreadId()] = L"bob";
        host().handles[kHostHandle] = std::make_shared<File>(kPipe);
        prepare();
    }

    // Calls the member in the state that it needs.
    HRESULT use(const Member& member, int failingCall) {
        prepare();
        if (failingCall != 0)
            machine.calls.failNth(failingCall, ERROR_GEN_FAILURE);
        return member.call(device5());
    }

    void prepare() {
        machine.files.existing = {kPipe, L"C:\\in"};
        auto& state = driver().state;
        state.securityDescriptor = state.remoteServer = state.remotePort = L"some text";
        state.pair = driver().hostProcessId;
        state.pipe.pipe = kHostHandle;
        state.files = {kHostHandle, kHostHandle};
        device5().restoreDefaultPins();
        forgetCalls();
    }
};

TEST_F(ConnectionMembers, CallWindowsInOrderAndKeepNothing) {
    const auto held = machine.held();
    for (const auto& member : kMembers) {
        SCOPED_TRACE(member.name);
        EXPECT_RESULT(S_OK, use(member, 0));
        EXPECT_EQ(steps(), member.steps);
        EXPECT_EQ(machine.held(), held);
    }
}

TEST_F(ConnectionMembers, KeepNothingWhicheverCallFails) {
    const auto held = machine.held();
    for (const auto& member : kMembers) {
        use(member, 0);
        const auto names = machine.calls.names();
        for (std::size_t nth = 1; nth <= names.size(); ++nth) {
            const auto& failing = names[nth - 1];
            SCOPED_TRACE(std::string(member.name) + ", call " + std::to_string(nth) + ": " + failing);
            const auto handedOver = host().handles;
            const HRESULT result = use(member, static_cast<int>(nth));
            EXPECT_EQ(machine.held(), held);
            EXPECT_EQ(machine.users.actingAs[GetCurrentThreadId()], L"bob");
            if (member.mayFail.count(failing) == 0) {
                EXPECT_TRUE(FAILED(result));
                EXPECT_EQ(host().handles, handedOver) << "the driver has not taken it over";
            }
        }
    }
}

TEST_F(ConnectionMembers, OfARemovedPortTestThatFirstOrReportTheOpen) {
    removePort();
    for (const auto& member : kMembers) {
        SCOPED_TRACE(member.name);
        EXPECT_RESULT(
            member.testsAlive ? E_HANDLE : HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND), member.call(device5()));
        EXPECT_EQ(machine.calls.texts().empty(), member.testsAlive);
        forgetCalls();
    }
}

} // namespace

} // namespace zorvan::simulation
