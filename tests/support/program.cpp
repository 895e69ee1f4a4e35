#include "program.h"

#include "child_process.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace zorvan::test {

std::string readFile(const std::wstring& path) {
    std::ifstream file(path.c_str(), std::ios::binary);
    if (!file)
        throw std::runtime_error("cannot read " + std::string(path.begin(), path.end()));
    return {std::istreambuf_iterator<char>(file), {}};
}

ProgramResult runProgram(const std::wstring& commandLine) {
    wchar_t folder[MAX_PATH] = {};
    wchar_t name[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, folder);
    GetTempFileNameW(folder, L"out", 0, name);
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    // A file, as some programs fail when their output is a pipe.
    const auto output = fileHandle(CreateFileW(
        name, GENERIC_READ | GENERIC_WRITE | DELETE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable, CREATE_ALWAYS,
        FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    if (!output)
        throw std::runtime_error("a temporary file cannot be opened: error " + std::to_string(GetLastError()));
    const auto exitCode = ChildProcess(commandLine, output.get()).exitCode();
    std::string text(GetFileSize(output.get(), nullptr), '\0');
    DWORD count = 0;
    SetFilePointer(output.get(), 0, nullptr, FILE_BEGIN);
    if (!ReadFile(output.get(), text.data(), static_cast<DWORD>(text.size()), &count, nullptr))
        throw std::runtime_error("the output of a program cannot be read: error " + std::to_string(GetLastError()));
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return {exitCode, text};
}

} // namespace zorvan::test
