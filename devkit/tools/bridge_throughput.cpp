// Measures how many bytes a bridge carries from one process to another, beside a bare named pipe in the same run.
#include "examples/client.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cwchar>

namespace {

constexpr wchar_t kPipe[] = L"\\\\.\\pipe\\zorvanlib-throughput";
constexpr std::size_t kBlock = std::size_t{64} * 1024;
constexpr std::size_t kTotal = std::size_t{32} * 1024 * 1024;
constexpr int kRounds = 7;

struct HandleCloser {
    void operator()(void* handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, HandleCloser>;

Handle owned(HANDLE handle, const char* what) {
    expect(handle != nullptr && handle != INVALID_HANDLE_VALUE, what);
    return Handle(handle);
}

Handle openFile(const std::wstring& name) {
    return owned(
        CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr), "opening");
}

// Without time-outs a write waits until it is done and a read until it is complete.
Handle openPort(const std::wstring& name) {
    auto port = openFile(L"\\\\.\\" + name);
    COMMTIMEOUTS none{};
    expect(SetCommTimeouts(port.get(), &none) != FALSE, "setting time-outs");
    return port;
}

void writeAll(HANDLE file) {
    const std::vector<std::uint8_t> block(kBlock, 0x55);
    for (std::size_t done = 0; done < kTotal; done += kBlock) {
        DWORD count = 0;
        expect(WriteFile(file, block.data(), kBlock, &count, nullptr) != FALSE && count == kBlock, "writing");
    }
}

void readAll(HANDLE file) {
    std::vector<std::uint8_t> block(kBlock);
    for (std::size_t done = 0; done < kTotal;) {
        DWORD count = 0;
        const auto size = static_cast<DWORD>(std::min(kBlock, kTotal - done));
        expect(ReadFile(file, block.data(), size, &count, nullptr) != FALSE && count > 0, "reading");
        done += count;
    }
}

// This program again, as the process that writes.
Handle startWriter(const std::wstring& target) {
    wchar_t program[MAX_PATH];
    expect(GetModuleFileNameW(nullptr, program, MAX_PATH) != 0, "the program's own path");
    std::wstring command = L"\"" + std::wstring(program) + L"\" " + target;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    expect(
        CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process) !=
            FALSE,
        "starting the writer");
    CloseHandle(process.hThread);
    return Handle(process.hProcess);
}

// Mebibytes a second, from the first byte on, so that the writer's start does not count.
double rateOf(HANDLE source, const std::wstring& target) {
    const auto writer = startWriter(target);
    if (target == kPipe)
        expect(ConnectNamedPipe(source, nullptr) != FALSE || GetLastError() == ERROR_PIPE_CONNECTED, "the writer");
    std::uint8_t first = 0;
    DWORD count = 0;
    expect(ReadFile(source, &first, 1, &count, nullptr) != FALSE && count == 1, "the first byte");
    LARGE_INTEGER frequency;
    LARGE_INTEGER begun;
    LARGE_INTEGER ended;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&begun);
    readAll(source);
    QueryPerformanceCounter(&ended);
    WaitForSingleObject(writer.get(), INFINITE);
    const double seconds =
        static_cast<double>(ended.QuadPart - begun.QuadPart) / static_cast<double>(frequency.QuadPart);
    return static_cast<double>(kTotal) / (1024.0 * 1024.0) / seconds;
}

double pipeRate() {
    const auto pipe =
        owned(CreateNamedPipeW(kPipe, PIPE_ACCESS_DUPLEX, 0, 1, kBlock, kBlock, 0, nullptr), "creating the pipe");
    return rateOf(pipe.get(), kPipe);
}

double bridgeRate(const std::wstring& from, const std::wstring& to) {
    const auto source = openPort(to);
    return rateOf(source.get(), from);
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void measure() {
    const auto library = createLibrary();
    CreatedPorts ports;
    auto& from = ports.create(*library.Get(), L"COM71");
    auto& to = ports.create(*library.Get(), L"COM72");
    check(from.createBridge(&to, VARIANT_FALSE), "createBridge");
    std::vector<double> pipe;
    std::vector<double> bridge;
    for (int round = 0; round < kRounds; ++round) {
        pipe.push_back(pipeRate());
        bridge.push_back(bridgeRate(portName(from), portName(to)));
    }
    std::printf("%-22s %10.1f\n%-22s %10.1f\n", "pipe-MiB-per-s", median(pipe), "bridge-MiB-per-s", median(bridge));
    std::printf("%-22s %10.3f\n", "bridge-to-pipe", median(bridge) / median(pipe));
}

void write(const std::wstring& target) {
    const auto file = target == kPipe ? openFile(target) : openPort(target);
    const std::uint8_t first = 0;
    DWORD count = 0;
    expect(WriteFile(file.get(), &first, 1, &count, nullptr) != FALSE, "writing the first byte");
    writeAll(file.get());
}

} // namespace

int wmain(int argumentCount, wchar_t** arguments) {
    try {
        const ComApartment apartment;
        if (argumentCount > 1)
            write(arguments[1]);
        else
            measure();
        return 0;
    } catch (const std::exception& error) {
        std::printf("FAILED: %s\n", error.what());
        return 1;
    }
}
