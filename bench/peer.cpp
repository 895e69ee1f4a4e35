#include "peer.h"

#include "support/expect.h"

#include <vector>

namespace zorvan::bench {

using test::expect;

namespace {

constexpr wchar_t kOrders[] = L"\\\\.\\pipe\\zorvanlib-bench-orders";
constexpr wchar_t kData[] = L"\\\\.\\pipe\\zorvanlib-bench-data";
constexpr DWORD kPipeBuffer = 65536;

UniqueHandle createPipe(const wchar_t* name) {
    auto pipe = fileHandle(
        CreateNamedPipeW(name, PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1, kPipeBuffer, kPipeBuffer, 0, nullptr));
    expect(static_cast<bool>(pipe), "creating a pipe");
    return pipe;
}

void awaitClient(HANDLE pipe) {
    expect(ConnectNamedPipe(pipe, nullptr) != FALSE || GetLastError() == ERROR_PIPE_CONNECTED, "the other process");
}

UniqueHandle openFile(const std::wstring& name) {
    auto file =
        fileHandle(CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    expect(static_cast<bool>(file), "opening an end");
    return file;
}

UniqueHandle openPort(const std::wstring& name, COMMTIMEOUTS timeouts) {
    auto port = openFile(L"\\\\.\\" + name);
    expect(SetCommTimeouts(port.get(), &timeouts) != FALSE, "setting time-outs");
    return port;
}

void write(HANDLE file, const void* data, DWORD size) {
    DWORD written = 0;
    expect(WriteFile(file, data, size, &written, nullptr) != FALSE && written == size, "writing");
}

DWORD read(HANDLE file, void* data, DWORD size) {
    DWORD count = 0;
    expect(ReadFile(file, data, size, &count, nullptr) != FALSE, "reading");
    return count;
}

void send(HANDLE file, std::vector<BYTE>& block, DWORD count) {
    for (DWORD i = 0; i < count; ++i)
        write(file, block.data(), static_cast<DWORD>(block.size()));
}

// A pipe may bring less than was asked for.
void receive(HANDLE file, std::vector<BYTE>& block, DWORD count) {
    for (auto left = std::size_t{count} * block.size(); left != 0;) {
        const auto got = read(file, block.data(), static_cast<DWORD>(std::min(left, block.size())));
        expect(got != 0, "receiving bytes");
        left -= got;
    }
}

void receiveNothing(HANDLE file, std::vector<BYTE>& block, DWORD count) {
    for (DWORD i = 0; i < count; ++i)
        expect(read(file, block.data(), static_cast<DWORD>(block.size())) == 0, "receiving nothing");
}

void echo(HANDLE file, std::vector<BYTE>& block, DWORD count) {
    for (DWORD i = 0; i < count; ++i) {
        receive(file, block, 1);
        send(file, block, 1);
    }
}

UniqueHandle startProcess(const std::wstring& arguments) {
    wchar_t program[MAX_PATH];
    expect(GetModuleFileNameW(nullptr, program, MAX_PATH) != 0, "the program's own path");
    std::wstring command = L"\"" + std::wstring(program) + L"\" " + arguments;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    const BOOL started =
        CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process);
    expect(started != FALSE, "starting the other process");
    CloseHandle(process.hThread);
    return UniqueHandle(process.hProcess);
}

} // namespace

// Without time-outs a write waits until it is done and a read until it is complete.
UniqueHandle openBridgeEnd(const std::wstring& portName) {
    return openPort(portName, {});
}

UniqueHandle openAtOnceEnd(const std::wstring& portName) {
    return openPort(portName, {MAXDWORD, 0, 0, 0, 0});
}

void carryOut(const Transfer& transfer, const Ends& ends) {
    HANDLE end = ends.at(static_cast<std::size_t>(transfer.link)).get();
    std::vector<BYTE> block(transfer.block, 0x55);
    if (transfer.kind == Transfer::Kind::Echo)
        echo(end, block, transfer.count);
    else if (transfer.kind == Transfer::Kind::Send)
        send(end, block, transfer.count);
    else if (transfer.link == Link::AtOnce)
        receiveNothing(end, block, transfer.count);
    else
        receive(end, block, transfer.count);
}

Peer::Peer(const std::wstring& bridgePort, const std::wstring& atOncePort)
    : orders_(createPipe(kOrders)), pipe_(createPipe(kData)),
      process_(startProcess(L"--peer " + bridgePort + L" " + atOncePort)) {
    awaitClient(orders_.get());
    awaitClient(pipe_.get());
    awaitEnd(); // the other ends are open
}

Peer::~Peer() {
    orders_.reset();
    WaitForSingleObject(process_.get(), INFINITE);
}

void Peer::begin(const Transfer& transfer) const {
    write(orders_.get(), &transfer, sizeof transfer);
}

void Peer::awaitEnd() const {
    BYTE done = 0;
    expect(read(orders_.get(), &done, sizeof done) == sizeof done, "the other process's answer");
}

void servePeer(const std::wstring& bridgePort, const std::wstring& atOncePort) {
    constexpr BYTE kDone = 1;
    const auto orders = openFile(kOrders);
    Ends ends;
    ends.at(static_cast<std::size_t>(Link::Pipe)) = openFile(kData);
    ends.at(static_cast<std::size_t>(Link::Bridge)) = openBridgeEnd(bridgePort);
    ends.at(static_cast<std::size_t>(Link::AtOnce)) = openAtOnceEnd(atOncePort);
    write(orders.get(), &kDone, sizeof kDone);
    Transfer transfer{};
    DWORD count = 0;
    while (ReadFile(orders.get(), &transfer, sizeof transfer, &count, nullptr) != FALSE && count == sizeof transfer) {
        carryOut(transfer, ends);
        write(orders.get(), &kDone, sizeof kDone);
    }
}

} // namespace zorvan::bench
