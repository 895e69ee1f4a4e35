// A port as an ordinary serial program uses it: opened by its name, read and written with overlapped requests.
#pragma once

#include "base/unique.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace zorvan::test {

using Data = std::vector<std::uint8_t>;

// Bytes that tell their place: whatever is lost, doubled or exchanged shows.
Data pattern(std::size_t size, unsigned seed = 0);
Data bytesOf(const char* text);

inline constexpr DWORD kPatience = 20'000; // milliseconds, for what must come

// What a request came to: 0 is success.
struct Result {
    DWORD error;
    Data data;         // of a read
    std::size_t count; // of a write

    bool ok() const { return error == ERROR_SUCCESS; }
};

// One that is under way. It is cancelled when it is destroyed before its end.
class Request {
public:
    explicit Request(HANDLE file, std::size_t size);
    ~Request();
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

    bool done() const { return WaitForSingleObject(event_.get(), 0) == WAIT_OBJECT_0; }
    // Fails with WAIT_TIMEOUT when it does not end.
    Result wait(DWORD patience = kPatience);
    // Of a request for an event; a failed one comes to no event.
    DWORD waitForEvent();

    void started(BOOL result);
    OVERLAPPED* overlapped() { return &overlapped_; }
    Data& data() { return data_; }

private:
    HANDLE file_;
    UniqueHandle event_;
    OVERLAPPED overlapped_{};
    Data data_;
    DWORD error_ = ERROR_SUCCESS;
    bool waited_ = false;
};

class SerialClient {
public:
    // Throws when the port cannot be opened and set up. Requests wait for ever, unless told otherwise.
    explicit SerialClient(const std::wstring& portName);

    HANDLE get() const { return port_.get(); }
    void close() { port_.reset(); }

    void setTimeouts(const COMMTIMEOUTS& timeouts) const;
    void configure(const std::function<void(DCB&)>& change) const;
    std::unique_ptr<Request> startRead(std::size_t size) const;
    std::unique_ptr<Request> startWrite(const Data& data) const;
    std::unique_ptr<Request> startWaitForEvent() const;

    Result read(std::size_t size) const { return startRead(size)->wait(); }
    Result write(const Data& data) const { return startWrite(data)->wait(); }

    // The lines that the port sees, as GetCommModemStatus gives them.
    DWORD lines() const;

private:
    UniqueHandle port_;
};

std::unique_ptr<Request> startRead(HANDLE file, std::size_t size);
std::unique_ptr<Request> startWrite(HANDLE file, const Data& data);

} // namespace zorvan::test
