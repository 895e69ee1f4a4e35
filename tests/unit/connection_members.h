// The members of a device about its connections, and the calls of Windows that each makes.
#pragma once

#include "simulation/client.h"

#include <cstdint>
#include <functional>
#include <string>

namespace zorvan::simulation {

inline const std::wstring kPipe = L"\\\\.\\pipe\\Serial1";
inline constexpr std::uint64_t kHostHandle = 0x77; // what the driver says that it has open
inline const std::string kNameOfHostHandle = R"(OpenProcess(0x40, not inheritable, HOST)
DuplicateHandle(process HOST, 0x77, own, 0x80, not inheritable, 0x0)
GetModuleHandleW(KERNEL32)
GetProcAddress(GetFileInformationByHandleEx)
GetFileInformationByHandleEx(file \\.\pipe\Serial1, 2, 720)
CloseHandle(file \\.\pipe\Serial1)
CloseHandle(process HOST)
)";

struct ConnectionMember {
    const char* name;
    bool testsAlive; // before anything else
    std::function<HRESULT(IVirtualSerialDevice&)> call;
    std::string steps;
};

template <auto kGetter>
HRESULT readString(IVirtualSerialDevice& device) {
    Bstr text;
    return (device.*kGetter)(text.put());
}

inline HRESULT readPair(IVirtualSerialDevice& device) {
    ComPointer<IVirtualSerialDevice> pair;
    return device.get_pair(pair.put());
}

inline HRESULT connectPins(IVirtualSerialDevice& device) {
    const auto ri = readObject(*readObject(device, &IVirtualSerialDevice::get_localSocket), &ISocket::get_RI);
    return ri->sendTo(ri.get());
}

// clang-format off
inline const ConnectionMember kConnectionMembers[] = {
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
)"},
    {"createAndConnectPipe", true,
     [](auto& d) { return d.createAndConnectPipe(Bstr(kPipe).get(), 7, 4096, 512, 0xFFFFFFFF); },
     R"(CreateNamedPipeW(\\.\pipe\Serial1, 0x40000003, 0, 7, 4096, 512, 4294967295, no attributes)
OpenProcess(0x40, not inheritable, HOST)
DuplicateHandle(own, file \\.\pipe\Serial1, process HOST, 0x0, not inheritable, 0x2)
CloseHandle(process HOST)
request 0x81f1a00c
CloseHandle(file \\.\pipe\Serial1)
)"},
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

} // namespace zorvan::simulation
