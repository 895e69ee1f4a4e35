#include "support/program.h"

#include "support/child_process.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace zorvan::test {

namespace {

std::string lastError(const char* what) {
    return std::string(what) + ": error " + std::to_string(GetLastError());
}

// A file, as some programs fail when their output is a pipe. It goes with its last handle.
class OutputFile {
public:
    OutputFile() {
        wchar_t folder[MAX_PATH];
        wchar_t name[MAX_PATH];
        if (GetTempPathW(MAX_PATH, folder) == 0 || GetTempFileNameW(folder, L"out", 0, name) == 0)
            throw std::runtime_error(lastError("a temporary file"));
        path_ = name;
        SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
        file_ = fileHandle(CreateFileW(
            name, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable, CREATE_ALWAYS, 0, nullptr));
        if (!file_)
            throw std::runtime_error(lastError("opening a temporary file"));
    }
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile() {
        file_.reset();
        DeleteFileW(path_.c_str()); // a file that stays in the temporary folder does no harm
    }

    HANDLE handle() const { return file_.get(); }
    std::string text() const { return readFile(path_); }

private:
    std::wstring path_;
    UniqueHandle file_;
};

} // namespace

std::string readFile(const std::wstring& path) {
    std::ifstream file(path.c_str(), std::ios::binary);
    if (!file)
        throw std::runtime_error("cannot read " + std::string(path.begin(), path.end()));
    return {std::istreambuf_iterator<char>(file), {}};
}

ProgramResult runProgram(const std::wstring& commandLine) {
    const OutputFile output;
    const auto exitCode = ChildProcess(commandLine, output.handle()).exitCode();
    auto text = output.text();
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return {exitCode, text};
}

} // namespace zorvan::test
