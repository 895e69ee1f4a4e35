// The members of a device, and the calls of Windows that each makes.
#pragma once

#include "listed_members.h"
#include "simulation/simulation_test.h"

namespace zorvan::simulation {

using Device = IVirtualSerialDevice;

// What a member does once its port is gone. Intended that it differs.
inline constexpr HRESULT kAnswers = S_OK;                                  // from what the object knows
inline constexpr HRESULT kRefuses = E_HANDLE;                              // before anything else
inline constexpr HRESULT kAsks = HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND); // the control path does not open

struct DeviceMember {
    std::string name; // in the type library
    HRESULT whenRemoved;
    std::string steps = {};                             // see OnePort
    std::function<HRESULT(Device&)> withArguments = {}; // of one that takes some

    HRESULT call(Device& device) const {
        OutParameter out;
        return withArguments ? withArguments(device) : callListed("IVirtualSerialDevice::" + name, device, out);
    }
};

inline HRESULT connectPins(Device& device) {
    const auto ri = readObject(*readObject(device, &Device::get_localSocket), &ISocket::get_RI);
    return ri->sendTo(ri.get());
}

inline std::string handingOver(const std::string& file) {
    return "OpenProcess(64, 0, HOST)\nDuplicateHandle(own, file " + file + ", process HOST, ..., 0, 0, 2)\n";
}

// The host process has the file open as its handle 0x77.
inline constexpr std::uint64_t kHostHandle = 0x77;
inline const std::string kNamingHandle =
    "OpenProcess(64, 0, HOST)\nDuplicateHandle(process HOST, ..., own, ..., 128, 0, 0)\n"
    "GetFileInformationByHandleEx(file \\\\.\\pipe\\Serial1, 2, ..., 720)\n";

// What asks about a connection comes after what makes it.
// clang-format off
inline const DeviceMember kMembers[] = {
    {"get_path", kAnswers},
    {"get_portName", kAnswers},
    {"get_deleted", kAnswers},
    {"get_vLibrary", kAnswers},
    {"get_localSocket", kAnswers},
    {"get_remoteSocket", kAnswers},
    {"get_mode", kRefuses, "request 0x81f16008\n"},
    {"get_enabled", kRefuses, "request 0x81f16044\n"},
    {"put_enabled", kRefuses, "request 0x81f1a048\n", [](auto& d) { return d.put_enabled(VARIANT_TRUE); }},
    {"get_connections", kRefuses, "request 0x81f16038\n"},
    {"get_bytesSent", kRefuses, "request 0x81f16038\n"},
    {"get_bytesReceived", kRefuses, "request 0x81f16038\n"},
    {"get_emulateTxOverflow", kAsks, "request 0x81f16080\n"},
    {"put_emulateTxOverflow", kAsks, "request 0x81f1a064\n",
     [](auto& d) { return d.put_emulateTxOverflow(VARIANT_TRUE); }},
    {"get_crossoverProbability", kAsks, "request 0x81f16060\n"},
    {"put_crossoverProbability", kAsks, "request 0x81f1a05c\n",
     [](auto& d) { return d.put_crossoverProbability(0.1); }},
    {"disconnectDevice", kRefuses, "request 0x81f1a014\n"},
    {"startListening", kRefuses, "request 0x81f1a03c\n", [](auto& d) { return d.startListening(Variant()); }},
    {"get_securityDescriptor", kRefuses, "request 0x81f16040\n"},
    {"connectToPipe", kRefuses,
     "CreateFileW(\\\\.\\pipe\\Serial1, 0xc0000000, 3, null, 3, 0x40000000, null)\n" +
     handingOver("\\\\.\\pipe\\Serial1") + "request 0x81f1a00c\n",
     [](auto& d) { return d.connectToPipe(Bstr(kPipe).get()); }},
    {"createAndConnectPipe", kRefuses,
     "CreateNamedPipeW(\\\\.\\pipe\\Serial1, 0x40000003, 0, 7, 4096, 512, 0xffffffff, null)\n" +
     handingOver("\\\\.\\pipe\\Serial1") + "request 0x81f1a00c\n",
     [](auto& d) { return d.createAndConnectPipe(Bstr(kPipe).get(), 7, 4096, 512, 0xFFFFFFFF); }},
    {"get_PipeName", kRefuses, "request 0x81f16020\n" + kNamingHandle},
    {"createBridge", kRefuses, "request 0x81f1a03c\nrequest 0x81f1a028\n",
     [](auto& d) { return d.createBridge(&d, VARIANT_TRUE); }},
    {"get_pair", kRefuses, "request 0x81f16018\n"},
    {"createRemoteBridge", kRefuses,
     "LogonUserW(ann, home, key, 8, 0, ...)\nOpenThreadToken(own, 4, 1, ...)\n"
     "ImpersonateLoggedOnUser(token of ann)\nRevertToSelf()\nSetThreadToken(null, token of bob)\n"
     "request 0x81f1a028\n",
     [](auto& d) { return d.createRemoteBridge(nullptr, Bstr(L"far").get(), VARIANT_TRUE, Bstr(L"ann").get(),
                                               Bstr(L"key").get(), Bstr(L"home").get()); }},
    {"get_remoteServer", kAsks, "request 0x81f1602c\n"},
    {"get_remotePort", kAsks, "request 0x81f1602c\n"},
    {"get_remoteEndpoint", kAsks, "request 0x81f1602c\nGetComputerNameExW(1, ..., ...)\n"},
    {"restoreDefaultPins", kAsks, "request 0x81f1a04c\n"},
    {"sendTo", kAsks, "request 0x81f1a04c\n", connectPins},
    {"connectToFiles", kRefuses,
     "CreateFileW(C:\\in, 0x80000000, 3, null, 3, 0x40000000, null)\n"
     "CreateFileW(C:\\out, 0x40000000, 1, null, 4, 0x40000000, null)\n" +
     handingOver("C:\\out") + handingOver("C:\\in") + "request 0x81f1a01c\n",
     [](auto& d) { return d.connectToFiles(Bstr(L"C:\\in").get(), Bstr(L"C:\\out").get(), CTF_OpenAlways); }},
    {"get_inputFileName", kRefuses, "request 0x81f16024\n" + kNamingHandle},
    {"get_outputFileName", kRefuses, "request 0x81f16024\n" + kNamingHandle},
};
// clang-format on

} // namespace zorvan::simulation
