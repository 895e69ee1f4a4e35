// Bytes on their way: to and from ports, pipes and files, with overlapped requests. What a test cannot do without is
// thrown as a std::runtime_error when it fails.
#pragma once

#include "base/unique.h"

#include <functional>
#include <memory>
#include <string>

namespace zorvan::test {

inline constexpr DWORD kPatience = 20'000; // milliseconds, for what must come

// What a request came to: 0 is success.
struct Transfer {
    DWORD error;
    std::string data;      // of a read
    std::size_t count = 0; // of a write
};

// One that is under way. It is cancelled when it is destroyed before its end.
class Request {
public:
    Request(HANDLE file, std::string data);
    ~Request();
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

    bool done() const { return WaitForSingleObject(event_.get(), 0) == WAIT_OBJECT_0; }
    // Fails with WAIT_TIMEOUT when it does not end.
    Transfer wait();
    // Of a request for an event; a failed one comes to no event.
    DWORD waitForEvent();

    void started(BOOL result);
    OVERLAPPED* overlapped() { return &overlapped_; }
    std::string& data() { return data_; }

private:
    HANDLE file_;
    UniqueHandle event_;
    OVERLAPPED overlapped_{};
    std::string data_;
    DWORD error_ = ERROR_SUCCESS;
    bool waited_ = false;
};

std::unique_ptr<Request> startRead(HANDLE file, std::size_t size);
std::unique_ptr<Request> startWrite(HANDLE file, const std::string& data);

// Writes on one side while it reads on the other, and compares.
void send(HANDLE from, HANDLE to, const std::string& data);

std::string randomBytes(std::size_t size, unsigned seed);

// For overlapped requests; empty when it does not open.
UniqueHandle openFile(const std::wstring& path, DWORD access = GENERIC_READ | GENERIC_WRITE, DWORD sharing = 0);

// A file with this content, which is deleted with this.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& content);
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() { DeleteFileW(name_.c_str()); } // one that stays is the next clean-up's

    const std::wstring& name() const { return name_; }

private:
    std::wstring name_;
};

// A port as an ordinary serial program uses it.
class SerialClient {
public:
    // Throws when the port cannot be opened and set up. Requests wait for ever, unless told otherwise.
    explicit SerialClient(const std::wstring& portName);

    HANDLE get() const { return port_.get(); }
    void close() { port_.reset(); }

    void configure(const std::function<void(DCB&)>& change) const;
    std::unique_ptr<Request> startRead(std::size_t size) const { return test::startRead(get(), size); }
    std::unique_ptr<Request> startWrite(const std::string& data) const { return test::startWrite(get(), data); }
    std::unique_ptr<Request> startWaitForEvent() const;

    Transfer read(std::size_t size) const { return startRead(size)->wait(); }
    Transfer write(const std::string& data) const { return startWrite(data)->wait(); }

    // The lines that the port sees, as GetCommModemStatus gives them.
    DWORD lines() const;

private:
    UniqueHandle port_;
};

} // namespace zorvan::test
