// Connects a virtual COM port to a named pipe and writes to the port: the text arrives at the pipe's other end.
#include "client.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr wchar_t kPipe[] = L"\\\\.\\pipe\\zorvanlib-example";

HANDLE openFile(const wchar_t* name) {
    return CreateFileW(name, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
}

void demonstrate() {
    CreatedPorts ports;
    auto& port = ports.create(*createLibrary().Get(), L"COM43");
    check(port.createAndConnectPipe(makeBstr(kPipe).get(), 1, 4096, 4096, 0), "createAndConnectPipe");
    std::printf("Connected to %ls\n", textOf(port, &IVirtualSerialDevice::get_PipeName).c_str());

    const HANDLE pipe = openFile(kPipe);
    const HANDLE serial = openFile(L"\\\\.\\COM43");
    const char text[] = "Hello, pipe";
    char arrived[sizeof text] = "";
    DWORD count = 0;
    expect(WriteFile(serial, text, sizeof text, &count, nullptr) != FALSE, "writing to the port");
    expect(ReadFile(pipe, arrived, sizeof arrived, &count, nullptr) != FALSE, "reading from the pipe");
    std::printf("The pipe received: %s\n", arrived);
    expect(std::strcmp(text, arrived) == 0, "what arrived");
    CloseHandle(serial);
    CloseHandle(pipe);
}

} // namespace

int wmain() {
    return runExample(demonstrate);
}
