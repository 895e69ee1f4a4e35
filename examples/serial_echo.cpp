// A serial program as there are many: opens a port and answers whatever it receives with the same bytes.
//
//   serial_echo.exe COM7
//
// It knows nothing of zorvanlib. Ends when the port goes away.
#include <windows.h>

#include <cstdio>
#include <string>

namespace {

int fail(const wchar_t* what) {
    std::printf("FAILED: %ls: error %lu\n", what, GetLastError());
    return 1;
}

// A read returns with what there is as soon as there is something.
bool returnAtOnce(HANDLE port) {
    COMMTIMEOUTS timeouts{};
    timeouts.ReadIntervalTimeout = MAXDWORD;
    timeouts.ReadTotalTimeoutMultiplier = MAXDWORD;
    timeouts.ReadTotalTimeoutConstant = 1000;
    return SetCommTimeouts(port, &timeouts) != FALSE;
}

int echo(HANDLE port) {
    char block[4096];
    DWORD count = 0;
    while (ReadFile(port, block, sizeof block, &count, nullptr) != FALSE)
        if (count != 0 && WriteFile(port, block, count, &count, nullptr) == FALSE)
            break;
    return fail(L"the port went away");
}

} // namespace

int wmain(int argumentCount, wchar_t** arguments) {
    if (argumentCount != 2)
        return fail(L"usage: serial_echo PORT");
    const auto path = L"\\\\.\\" + std::wstring(arguments[1]);
    auto* const port = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (port == INVALID_HANDLE_VALUE || !returnAtOnce(port))
        return fail(arguments[1]);
    std::printf("%ls is open\n", arguments[1]);
    std::fflush(stdout);
    const int status = echo(port);
    CloseHandle(port);
    return status;
}
