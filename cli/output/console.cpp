#include "output/console.h"

#include "com/failure.h"
#include "com/text.h"

#include <windows.h>

#include <array>

namespace portwright::console {
namespace {

HANDLE handleOf(Stream stream) {
    return GetStdHandle(stream == Stream::Output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

bool isConsole(HANDLE handle) {
    DWORD mode = 0;
    return GetConsoleMode(handle, &mode) != FALSE;
}

bool writeToConsole(HANDLE console, std::wstring_view text) {
    DWORD written = 0;
    for (; !text.empty(); text.remove_prefix(written))
        if (WriteConsoleW(console, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) == FALSE)
            return false;
    return true;
}

bool writeToFile(HANDLE file, std::string_view text) {
    DWORD written = 0;
    for (; !text.empty(); text.remove_prefix(written))
        if (WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) == FALSE)
            return false;
    return true;
}

bool write(HANDLE handle, std::string_view text) {
    return isConsole(handle) ? writeToConsole(handle, wide(text)) : writeToFile(handle, text);
}

// Where the terminal cannot be told to take escape sequences, it gets none.
bool takesColour(Stream stream) {
    if (GetEnvironmentVariableW(L"NO_COLOR", nullptr, 0) != 0)
        return false;
    DWORD mode = 0;
    auto* const handle = handleOf(stream);
    return GetConsoleMode(handle, &mode) != FALSE &&
           SetConsoleMode(handle, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != FALSE;
}

// Switches the echo of a terminal off.
class WithoutEcho {
public:
    explicit WithoutEcho(HANDLE input) : input_(input), isConsole_(GetConsoleMode(input, &mode_) != FALSE) {
        if (isConsole_ && SetConsoleMode(input_, mode_ & ~static_cast<DWORD>(ENABLE_ECHO_INPUT)) == FALSE)
            throwLastError("read a password without showing it", "hand it over through standard input");
    }
    WithoutEcho(const WithoutEcho&) = delete;
    WithoutEcho& operator=(const WithoutEcho&) = delete;
    ~WithoutEcho() {
        if (isConsole_)
            SetConsoleMode(input_, mode_);
    }
    bool isConsole() const { return isConsole_; }

private:
    HANDLE input_;
    DWORD mode_ = 0;
    bool isConsole_;
};

std::string readLineOfFile(HANDLE input) {
    std::string line;
    char byte = 0;
    DWORD count = 0;
    while (ReadFile(input, &byte, 1, &count, nullptr) != FALSE && count == 1) {
        if (byte == '\n')
            return line;
        if (byte != '\r')
            line += byte;
    }
    if (line.empty())
        throw WrongUse("there is no password on standard input");
    return line;
}

std::string readLineOfConsole(HANDLE input) {
    std::array<wchar_t, 512> line{};
    DWORD count = 0;
    if (ReadConsoleW(input, line.data(), static_cast<DWORD>(line.size()), &count, nullptr) == FALSE)
        throwLastError("read a password");
    const std::wstring_view text(line.data(), count);
    auto result = utf8(text.substr(0, text.find_first_of(L"\r\n")));
    SecureZeroMemory(line.data(), sizeof line);
    return result;
}

} // namespace

void print(std::string_view text) {
    if (!write(handleOf(Stream::Output), text))
        throwLastError("write to standard output");
}

void complain(std::string_view text) {
    write(handleOf(Stream::Error), text);
}

bool isTerminal(Stream stream) {
    return isConsole(handleOf(stream));
}

std::optional<std::size_t> width(Stream stream) {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (GetConsoleScreenBufferInfo(handleOf(stream), &info) == FALSE)
        return std::nullopt;
    return static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left + 1);
}

std::string emphasised(Stream stream, std::string_view text) {
    static const std::array<bool, 2> kColoured{takesColour(Stream::Output), takesColour(Stream::Error)};
    const std::string plain(text);
    return kColoured.at(static_cast<std::size_t>(stream)) ? "\x1b[1m" + plain + "\x1b[0m" : plain;
}

std::string readPassword(std::string_view prompt) {
    auto* const input = GetStdHandle(STD_INPUT_HANDLE);
    const WithoutEcho echo(input);
    if (!echo.isConsole())
        return readLineOfFile(input);
    complain(prompt);
    auto password = readLineOfConsole(input);
    complain("\n");
    return password;
}

} // namespace portwright::console
