#include "registration/registrar_process.h"

#include "base/unique.h"
#include "runner/runner.h"

#include <stdexcept>

namespace zorvan::test {

HRESULT runRegistrar(const std::vector<std::wstring>& arguments) {
    // No argument of a test ends with a backslash or holds a double quote.
    std::wstring commandLine = L'"' + siblingPath(L"..\\test_tools\\registrar.exe") + L'"';
    for (const std::wstring& argument : arguments)
        commandLine += L" \"" + argument + L'"';
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION information{};
    if (!CreateProcessW(
            nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &information))
        throw std::runtime_error(
            "registrar.exe cannot be started; it is built into test_tools, beside this program's folder");
    const UniqueHandle process(information.hProcess);
    const UniqueHandle thread(information.hThread);
    DWORD exitCode = 0;
    if (WaitForSingleObject(process.get(), INFINITE) != WAIT_OBJECT_0 ||
        !GetExitCodeProcess(process.get(), &exitCode))
        throw std::runtime_error("registrar.exe has no result");
    return static_cast<HRESULT>(exitCode);
}

} // namespace zorvan::test
