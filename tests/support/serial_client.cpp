#include "serial_client.h"

#include "expect.h"

#include <algorithm>
#include <cstring>
#include <random>

namespace zorvan::test {

Request::Request(HANDLE file, std::string data)
    : file_(file), event_(CreateEventW(nullptr, TRUE, FALSE, nullptr)), data_(std::move(data)) {
    overlapped_.hEvent = event_.get();
}

Request::~Request() {
    if (waited_)
        return;
    CancelIoEx(file_, &overlapped_);
    wait();
}

void Request::started(BOOL result) {
    error_ = result || GetLastError() == ERROR_IO_PENDING ? ERROR_SUCCESS : GetLastError();
    waited_ = error_ != ERROR_SUCCESS;
}

Transfer Request::wait() {
    if (error_ != ERROR_SUCCESS)
        return {error_, {}};
    if (WaitForSingleObject(event_.get(), kPatience) != WAIT_OBJECT_0)
        return {WAIT_TIMEOUT, {}};
    waited_ = true;
    DWORD count = 0;
    const auto error = GetOverlappedResult(file_, &overlapped_, &count, FALSE) ? ERROR_SUCCESS : GetLastError();
    return {error, data_.substr(0, count), count};
}

DWORD Request::waitForEvent() {
    const auto result = wait();
    DWORD events = 0;
    if (result.error == ERROR_SUCCESS)
        std::memcpy(&events, data_.data(), sizeof events);
    return events;
}

std::unique_ptr<Request> startRead(HANDLE file, std::size_t size) {
    auto request = std::make_unique<Request>(file, std::string(size, '\0'));
    request->started(
        ReadFile(file, request->data().data(), static_cast<DWORD>(size), nullptr, request->overlapped()));
    return request;
}

std::unique_ptr<Request> startWrite(HANDLE file, const std::string& data) {
    auto request = std::make_unique<Request>(file, data);
    request->started(
        WriteFile(file, request->data().data(), static_cast<DWORD>(data.size()), nullptr, request->overlapped()));
    return request;
}

// A pipe hands out what it has.
void send(HANDLE from, HANDLE to, const std::string& data) {
    const auto write = startWrite(from, data);
    std::string arrived;
    while (arrived.size() < data.size()) {
        const auto piece = startRead(to, data.size() - arrived.size())->wait();
        expect(piece.error == ERROR_SUCCESS && piece.count != 0, "that bytes arrive");
        arrived += piece.data;
    }
    expect(write->wait().count == data.size(), "how much was written");
    expect(arrived == data, "that what arrives is what was sent");
}

std::string randomBytes(std::size_t size, unsigned seed) {
    std::minstd_rand random(seed);
    std::string bytes(size, '\0');
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random() >> 8); });
    return bytes;
}

UniqueHandle openFile(const std::wstring& path, DWORD access, DWORD sharing) {
    return fileHandle(
        CreateFileW(path.c_str(), access, sharing, nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr));
}

TemporaryFile::TemporaryFile(const std::string& content) : name_(MAX_PATH, L'\0') {
    wchar_t folder[MAX_PATH];
    expect(GetTempPathW(MAX_PATH, folder) != 0, "the folder for temporary files");
    expect(GetTempFileNameW(folder, L"zvl", 0, name_.data()) != 0, "a temporary file");
    name_.resize(name_.find(L'\0'));
    expect(startWrite(openFile(name_).get(), content)->wait().count == content.size(), "writing");
}

SerialClient::SerialClient(const std::wstring& portName) : port_(openFile(L"\\\\.\\" + portName)) {
    configure([](DCB&) {}); // fails for a second opener, too
}

void SerialClient::configure(const std::function<void(DCB&)>& change) const {
    DCB settings{};
    settings.DCBlength = sizeof settings;
    expect(GetCommState(get(), &settings) != FALSE, "GetCommState");
    change(settings);
    expect(SetCommState(get(), &settings) != FALSE, "SetCommState");
}

std::unique_ptr<Request> SerialClient::startWaitForEvent() const {
    auto request = std::make_unique<Request>(get(), std::string(sizeof(DWORD), '\0'));
    request->started(WaitCommEvent(get(), reinterpret_cast<DWORD*>(request->data().data()), request->overlapped()));
    return request;
}

DWORD SerialClient::lines() const {
    DWORD lines = 0;
    expect(GetCommModemStatus(get(), &lines) != FALSE, "GetCommModemStatus");
    return lines;
}

} // namespace zorvan::test
