#include "serial_client.h"

#include <cstring>

namespace zorvan::test {

Data bytesOf(std::string_view text) {
    return Data(text.begin(), text.end());
}

Request::Request(HANDLE file, Data data)
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

Result Request::wait(DWORD patience) {
    if (error_ != ERROR_SUCCESS)
        return {error_, {}};
    if (WaitForSingleObject(event_.get(), patience) != WAIT_OBJECT_0)
        return {WAIT_TIMEOUT, {}};
    waited_ = true;
    DWORD count = 0;
    const auto error = GetOverlappedResult(file_, &overlapped_, &count, FALSE) ? ERROR_SUCCESS : GetLastError();
    return {error, Data(data_.begin(), data_.begin() + static_cast<std::ptrdiff_t>(count)), count};
}

DWORD Request::waitForEvent() {
    const auto result = wait();
    DWORD events = 0;
    if (result.error == ERROR_SUCCESS)
        std::memcpy(&events, data_.data(), sizeof events);
    return events;
}

std::unique_ptr<Request> startRead(HANDLE file, std::size_t size) {
    auto request = std::make_unique<Request>(file, Data(size));
    request->started(
        ReadFile(file, request->data().data(), static_cast<DWORD>(size), nullptr, request->overlapped()));
    return request;
}

std::unique_ptr<Request> startWrite(HANDLE file, const Data& data) {
    auto request = std::make_unique<Request>(file, data);
    request->started(
        WriteFile(file, request->data().data(), static_cast<DWORD>(data.size()), nullptr, request->overlapped()));
    return request;
}

SerialClient::SerialClient(const std::wstring& portName)
    : port_(fileHandle(CreateFileW(
          (L"\\\\.\\" + portName).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
          FILE_FLAG_OVERLAPPED, nullptr))) {
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
    auto request = std::make_unique<Request>(get(), Data(sizeof(DWORD)));
    request->started(WaitCommEvent(get(), reinterpret_cast<DWORD*>(request->data().data()), request->overlapped()));
    return request;
}

DWORD SerialClient::lines() const {
    DWORD lines = 0;
    expect(GetCommModemStatus(get(), &lines) != FALSE, "GetCommModemStatus");
    return lines;
}

} // namespace zorvan::test
