// What the system or the library refuses, and what is wrong with what was asked, as exceptions that main tells.
#pragma once

#include <windows.h>

#include <stdexcept>
#include <string>
#include <string_view>

namespace portwright {

// Exit statuses.
enum Status { kDone = 0, kRefused = 1, kWrongUse = 2 };

// The system refused. Says what was asked, the result and its meaning; next() says what to do about it.
class Failure : public std::runtime_error {
public:
    // Without a hint of the caller's, next() is the usual advice for the result.
    Failure(std::string_view asked, HRESULT result, std::string_view hint = {});
    // Without a result: what this program itself has found out.
    Failure(std::string_view message, std::string_view hint);

    const std::string& next() const { return next_; }

private:
    std::string next_;
};

// The user asked for what makes no sense.
class WrongUse : public std::runtime_error {
public:
    explicit WrongUse(const std::string& message, std::string next = "portwright --help says what there is")
        : std::runtime_error(message), next_(std::move(next)) {}
    const std::string& next() const { return next_; }

private:
    std::string next_;
};

// Several things were tried, and each failure has been told.
class AlreadyTold : public std::exception {};

void check(HRESULT result, std::string_view asked, std::string_view hint = {});
[[noreturn]] void throwError(DWORD error, std::string_view asked, std::string_view hint = {});
[[noreturn]] void throwLastError(std::string_view asked, std::string_view hint = {});

// A result in words, such as "access is denied (0x80070005)".
std::string inWords(HRESULT result);

// Tells an exception on standard error, and returns the status to end with.
Status tell(const std::exception& error);

} // namespace portwright
