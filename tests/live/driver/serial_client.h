// A port as an ordinary serial program uses it: opened by its name, read and written with overlapped requests.
#pragma once

#include "control_client.h"
#include "soak/traffic.h"

#include <functional>

namespace zorvan::test {

using Data = devkit::Bytes;
using devkit::randomBytes;

Data bytesOf(std::string_view text);

inline constexpr DWORD kPatience = 20'000; // milliseconds, for what must come

// What a request came to: 0 is success.
struct Result {
    DWORD error;
    Data data;             // of a read
    std::size_t count = 0; // of a write
};

// One that is under way. It is cancelled when it is destroyed before its end.
class Request {
public:
    Request(HANDLE file, Data data);
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

std::unique_ptr<Request> startRead(HANDLE file, std::size_t size);
std::unique_ptr<Request> startWrite(HANDLE file, const Data& data);

class SerialClient {
public:
    // Throws when the port cannot be opened and set up. Requests wait for ever, unless told otherwise.
    explicit SerialClient(const std::wstring& portName);

    HANDLE get() const { return port_.get(); }
    void close() { port_.reset(); }

    void configure(const std::function<void(DCB&)>& change) const;
    std::unique_ptr<Request> startRead(std::size_t size) const { return test::startRead(get(), size); }
    std::unique_ptr<Request> startWrite(const Data& data) const { return test::startWrite(get(), data); }
    std::unique_ptr<Request> startWaitForEvent() const;

    Result read(std::size_t size) const { return startRead(size)->wait(); }
    Result write(const Data& data) const { return startWrite(data)->wait(); }

    // The lines that the port sees, as GetCommModemStatus gives them.
    DWORD lines() const;

private:
    UniqueHandle port_;
};

// Two ports that are bridged and open.
struct OpenBridge : TwoPorts {
    explicit OpenBridge(unsigned number = 0) : TwoPorts(number) {
        EXPECT_EQ(client.bridgeTo(partnerDevice.portName()), 0u);
    }

    SerialClient here{device.portName()};
    SerialClient there{partnerDevice.portName()};
};

} // namespace zorvan::test
