// The members of a device, and the calls of Windows that each makes.
#pragma once

#include "simulation/client.h"

#include <functional>
#include <string>
#include <type_traits>

namespace zorvan::simulation {

using Device = IVirtualSerialDevice;

inline const std::wstring kPipe = L"\\\\.\\pipe\\Serial1";

// What a member does once its port is gone. Intended that it differs.
inline constexpr HRESULT kAnswers = S_OK;                                  // from what the object knows
inline constexpr HRESULT kRefuses = E_HANDLE;                              // before anything else
inline constexpr HRESULT kAsks = HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND); // the control path does not open

struct Answer {
    HRESULT result;
    std::wstring value = L""; // as a text, where it has one
};

struct DeviceMember {
    const char* name;
    HRESULT whenRemoved;
    std::function<Answer(Device& device)> call;
    std::string steps; // see OnePort
};

template <class Value>
DeviceMember reading(
    const char* name, HRESULT whenRemoved, HRESULT (STDMETHODCALLTYPE Device::*getter)(Value*),
    std::string steps = "") {
    const auto call = [getter](Device& device) -> Answer {
        if constexpr (std::is_same_v<Value, BSTR>) {
            Bstr text;
            const HRESULT result = (device.*getter)(text.put());
            EXPECT_EQ(text.get() == nullptr, text.text().empty());
            return {result, text.text()};
        } else if constexpr (std::is_convertible_v<Value, IUnknown*>) {
            ComPointer<std::remove_pointer_t<Value>> object;
            return {(device.*getter)(object.put())};
        } else {
            Value value{};
            const HRESULT result = (device.*getter)(&value);
            if constexpr (std::is_enum_v<Value>)
                return {result, std::to_wstring(static_cast<std::uint32_t>(value))};
            else
                return {result, std::to_wstring(value)};
        }
    };
    return {name, whenRemoved, call, std::move(steps)};
}

template <class Action>
DeviceMember doing(const char* name, HRESULT whenRemoved, Action action, std::string steps) {
    return {name, whenRemoved, [action](Device& device) { return Answer{action(device)}; }, std::move(steps)};
}

inline HRESULT connectPins(Device& device) {
    const auto ri = readObject(*readObject(device, &Device::get_localSocket), &ISocket::get_RI);
    return ri->sendTo(ri.get());
}

inline std::string handingOver(const std::string& file) {
    return "OpenProcess(64, 0, HOST)\nDuplicateHandle(own, file " + file +
           ", process HOST, ..., 0, 0, 2)\nCloseHandle(process HOST)\n";
}

inline const std::string kListening =
    "ConvertStringSecurityDescriptorToSecurityDescriptorW(D:AR(A;;CC;;;WD), 1, ..., null)\n"
    "GetSecurityDescriptorControl(..., ..., ...)\nLocalFree(...)\nrequest 0x81f1a03c\n";

// The host process has the file open as its handle 0x77.
inline constexpr std::uint64_t kHostHandle = 0x77;
inline const std::string kNamingHandle =
    "OpenProcess(64, 0, HOST)\n"
    "DuplicateHandle(process HOST, ..., own, ..., 128, 0, 0)\n"
    "GetModuleHandleW(KERNEL32)\nGetProcAddress(..., GetFileInformationByHandleEx)\n"
    "GetFileInformationByHandleEx(file \\\\.\\pipe\\Serial1, 2, ..., 720)\n"
    "CloseHandle(file \\\\.\\pipe\\Serial1)\nCloseHandle(process HOST)\n";

// What asks about a connection comes after what makes it.
// clang-format off
inline const DeviceMember kMembers[] = {
    reading("path", kAnswers, &Device::get_path, "SysAllocStringLen(SERIAL, 58)\n"),
    reading("portName", kAnswers, &Device::get_portName, "SysAllocStringLen(COM5, 4)\n"),
    reading("deleted", kAnswers, &Device::get_deleted),
    reading("vLibrary", kAnswers, &Device::get_vLibrary),
    reading("localSocket", kAnswers, &Device::get_localSocket),
    reading("remoteSocket", kAnswers, &Device::get_remoteSocket),
    reading("mode", kRefuses, &Device::get_mode, "request 0x81f16008\n"),
    reading("enabled", kRefuses, &Device::get_enabled, "request 0x81f16044\n"),
    doing("put enabled", kRefuses, [](auto& d) { return d.put_enabled(VARIANT_TRUE); }, "request 0x81f1a048\n"),
    reading("connections", kRefuses, &Device::get_connections, "request 0x81f16038\n"),
    reading("bytesSent", kRefuses, &Device::get_bytesSent, "request 0x81f16038\n"),
    reading("bytesReceived", kRefuses, &Device::get_bytesReceived, "request 0x81f16038\n"),
    reading("emulateTxOverflow", kAsks, &Device::get_emulateTxOverflow, "request 0x81f16080\n"),
    doing("put emulateTxOverflow", kAsks, [](auto& d) { return d.put_emulateTxOverflow(VARIANT_TRUE); },
          "request 0x81f1a064\n"),
    reading("crossoverProbability", kAsks, &Device::get_crossoverProbability, "request 0x81f16060\n"),
    doing("put crossoverProbability", kAsks, [](auto& d) { return d.put_crossoverProbability(0.1); },
          "request 0x81f1a05c\n"),
    doing("disconnectDevice", kRefuses, [](auto& d) { return d.disconnectDevice(); }, "request 0x81f1a014\n"),
    doing("startListening", kRefuses, [](auto& d) { return d.startListening(Variant()); }, kListening),
    reading("securityDescriptor", kRefuses, &Device::get_securityDescriptor,
            "request 0x81f16040\nSysAllocStringLen(some text, 9)\n"),
    doing("connectToPipe", kRefuses, [](auto& d) { return d.connectToPipe(Bstr(kPipe).get()); },
          "CreateFileW(\\\\.\\pipe\\Serial1, 0xc0000000, 3, null, 3, 0x40000000, null)\n" +
          handingOver("\\\\.\\pipe\\Serial1") + "request 0x81f1a00c\nCloseHandle(file \\\\.\\pipe\\Serial1)\n"),
    doing("createAndConnectPipe", kRefuses,
          [](auto& d) { return d.createAndConnectPipe(Bstr(kPipe).get(), 7, 4096, 512, 0xFFFFFFFF); },
          "CreateNamedPipeW(\\\\.\\pipe\\Serial1, 0x40000003, 0, 7, 4096, 512, 0xffffffff, null)\n" +
          handingOver("\\\\.\\pipe\\Serial1") + "request 0x81f1a00c\nCloseHandle(file \\\\.\\pipe\\Serial1)\n"),
    reading("PipeName", kRefuses, &Device::get_PipeName,
            "request 0x81f16020\n" + kNamingHandle + "SysAllocStringLen(\\\\.\\pipe\\Serial1, 16)\n"),
    doing("createBridge", kRefuses, [](auto& d) { return d.createBridge(&d, VARIANT_TRUE); },
          kListening + "request 0x81f1a028\n"),
    reading("pair", kRefuses, &Device::get_pair, "request 0x81f16018\n"),
    doing("createRemoteBridge", kRefuses,
          [](auto& d) { return d.createRemoteBridge(nullptr, Bstr(L"far").get(), VARIANT_TRUE, Bstr(L"ann").get(),
                                                    Bstr(L"key").get(), Bstr(L"home").get()); },
          "LogonUserW(ann, home, key, 8, 0, ...)\nOpenThreadToken(own, 4, 1, ...)\n"
          "ImpersonateLoggedOnUser(token of ann)\nRevertToSelf()\nSetThreadToken(null, token of bob)\n"
          "CloseHandle(token of bob)\nCloseHandle(token of ann)\nrequest 0x81f1a028\n"),
    reading("remoteServer", kAsks, &Device::get_remoteServer, "request 0x81f1602c\nSysAllocStringLen(some text, 9)\n"),
    reading("remotePort", kAsks, &Device::get_remotePort, "request 0x81f1602c\nSysAllocStringLen(some text, 9)\n"),
    reading("remoteEndpoint", kAsks, &Device::get_remoteEndpoint,
            "request 0x81f1602c\nGetComputerNameExW(1, ..., ...)\nSysAllocStringLen(\\\\some text\\some text, 21)\n"),
    doing("restoreDefaultPins", kAsks, [](auto& d) { return d.restoreDefaultPins(); }, "request 0x81f1a04c\n"),
    doing("sendTo", kAsks, connectPins, "request 0x81f1a04c\n"),
    doing("connectToFiles", kRefuses,
          [](auto& d) { return d.connectToFiles(Bstr(L"C:\\in").get(), Bstr(L"C:\\out").get(), CTF_OpenAlways); },
          "CreateFileW(C:\\in, 0x80000000, 3, null, 3, 0x40000000, null)\n"
          "CreateFileW(C:\\out, 0x40000000, 1, null, 4, 0x40000000, null)\n" +
          handingOver("C:\\out") + handingOver("C:\\in") +
          "request 0x81f1a01c\nCloseHandle(file C:\\out)\nCloseHandle(file C:\\in)\n"),
    reading("inputFileName", kRefuses, &Device::get_inputFileName,
            "request 0x81f16024\n" + kNamingHandle + "SysAllocStringLen(\\Serial1, 8)\n"),
    reading("outputFileName", kRefuses, &Device::get_outputFileName,
            "request 0x81f16024\n" + kNamingHandle + "SysAllocStringLen(\\Serial1, 8)\n"),
};
// clang-format on

} // namespace zorvan::simulation
