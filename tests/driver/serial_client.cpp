#include "serial_client.h"

#include <cstring>
#include <system_error>

namespace zorvan::test {
namespace {

void check(BOOL succeeded, const char* what) {
    if (!succeeded)
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

} // namespace

Data pattern(std::size_t size, unsigned seed) {
    Data data(size);
    std::uint32_t state = seed + 1;
    for (auto& byte : data) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<std::uint8_t>(state >> 24);
    }
    return data;
}

Data bytesOf(const char* text) {
    return Data(text, text + std::strlen(text));
}

Request::Request(HANDLE file, std::size_t size)
    : file_(file), event_(CreateEventW(nullptr, TRUE, FALSE, nullptr)), data_(size) {
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

Result Request::wait(DWORD patience) {
    if (error_ != ERROR_SUCCESS)
        return {error_, {}, 0};
    if (WaitForSingleObject(event_.get(), patience) != WAIT_OBJECT_0)
        return {WAIT_TIMEOUT, {}, 0};
    waited_ = true;
    DWORD count = 0;
    const auto error = GetOverlappedResult(file_, &overlapped_, &count, FALSE) ? ERROR_SUCCESS : GetLastError();
    return {error, Data(data_.begin(), data_.begin() + static_cast<std::ptrdiff_t>(count)), count};
}

DWORD Request::waitForEvent() {
    const auto result = wait();
    DWORD events = 0;
    if (result.ok())
        std::memcpy(&events, data_.data(), sizeof events);
    return events;
}

SerialClient::SerialClient(const std::wstring& portName)
    : port_(fileHandle(CreateFileW(
          (L"\\\\.\\" + portName).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
          FILE_FLAG_OVERLAPPED, nullptr))) {
    check(static_cast<bool>(port_), "CreateFile of the port");
    configure([](DCB&) {}); // fails for a second opener
}

void SerialClient::configure(const std::function<void(DCB&)>& change) const {
    DCB settings{};
    settings.DCBlength = sizeof settings;
    check(GetCommState(get(), &settings), "GetCommState");
    change(settings);
    check(SetCommState(get(), &settings), "SetCommState");
}

void SerialClient::setTimeouts(const COMMTIMEOUTS& timeouts) const {
    auto copy = timeouts;
    check(SetCommTimeouts(get(), &copy), "SetCommTimeouts");
}

std::unique_ptr<Request> SerialClient::startRead(std::size_t size) const {
    return test::startRead(get(), size);
}

std::unique_ptr<Request> SerialClient::startWrite(const Data& data) const {
    return test::startWrite(get(), data);
}

std::unique_ptr<Request> SerialClient::startWaitForEvent() const {
    auto request = std::make_unique<Request>(get(), sizeof(DWORD));
    request->started(WaitCommEvent(get(), reinterpret_cast<DWORD*>(request->data().data()), request->overlapped()));
    return request;
}

DWORD SerialClient::lines() const {
    DWORD lines = 0;
    check(GetCommModemStatus(get(), &lines), "GetCommModemStatus");
    return lines;
}

std::unique_ptr<Request> startRead(HANDLE file, std::size_t size) {
    auto request = std::make_unique<Request>(file, size);
    request->started(
        ReadFile(file, request->data().data(), static_cast<DWORD>(size), nullptr, request->overlapped()));
    return request;
}

std::unique_ptr<Request> startWrite(HANDLE file, const Data& data) {
    auto request = std::make_unique<Request>(file, 0);
    request->data() = data;
    request->started(
        WriteFile(file, request->data().data(), static_cast<DWORD>(data.size()), nullptr, request->overlapped()));
    return request;
}

} // namespace zorvan::test
