#include "traffic.h"

#include <algorithm>
#include <future>
#include <random>
#include <stdexcept>

namespace zorvan::devkit {

namespace {

constexpr DWORD kPatience = 10000; // milliseconds

UniqueHandle open(const std::wstring& name) {
    return fileHandle(CreateFileW(
        name.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
        nullptr));
}

// Whoever reads a device's file names has its files open for a moment, which may outlast the connection.
UniqueHandle openPatiently(const std::wstring& name) {
    constexpr DWORD kPause = 10;
    auto file = open(name);
    for (DWORD waited = 0; !file && GetLastError() == ERROR_SHARING_VIOLATION && waited < kPatience;
         waited += kPause) {
        Sleep(kPause);
        file = open(name);
    }
    return file;
}

std::wstring createTemporaryFile() {
    wchar_t folder[MAX_PATH];
    wchar_t name[MAX_PATH];
    expect(GetTempPathW(MAX_PATH, folder) != 0, "the folder for temporary files");
    expect(GetTempFileNameW(folder, L"zvl", 0, name) != 0, "a temporary file");
    return name;
}

} // namespace

Bytes randomBytes(std::size_t size, unsigned seed) {
    std::minstd_rand random(seed);
    Bytes bytes(size);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<std::uint8_t>(random() >> 8); });
    return bytes;
}

OpenFile::OpenFile(const std::wstring& name) : handle_(openPatiently(name)) {
    if (!handle_)
        throw std::runtime_error(
            "opening " + std::string(name.begin(), name.end()) + ": error " + std::to_string(GetLastError()));
}

void OpenFile::write(const Bytes& bytes) const {
    DWORD count = 0;
    expect(WriteFile(get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr) != FALSE, "writing");
    expect(count == bytes.size(), "how much was written");
}

Bytes OpenFile::read(std::size_t size) const {
    Bytes bytes(size);
    for (std::size_t done = 0; done < size;) {
        DWORD count = 0;
        expect(
            ReadFile(get(), bytes.data() + done, static_cast<DWORD>(size - done), &count, nullptr) != FALSE,
            "reading");
        expect(count > 0, "that bytes arrive");
        done += count;
    }
    return bytes;
}

OpenPort::OpenPort(IVirtualSerialDevice& device) : OpenFile(L"\\\\.\\" + portName(device)) {
    COMMTIMEOUTS timeouts{};
    timeouts.ReadTotalTimeoutConstant = kPatience;
    timeouts.WriteTotalTimeoutConstant = kPatience;
    expect(SetCommTimeouts(get(), &timeouts) != FALSE, "setting time-outs");
}

void send(const OpenFile& from, const OpenFile& to, const Bytes& bytes) {
    auto written = std::async(std::launch::async, [&] { from.write(bytes); });
    const auto arrived = to.read(bytes.size());
    written.get();
    expect(arrived == bytes, "that what arrives is what was sent");
}

TemporaryFile::TemporaryFile(const Bytes& content) : name_(createTemporaryFile()) {
    OpenFile(name_).write(content);
}

} // namespace zorvan::devkit
