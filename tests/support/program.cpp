#include "program.h"

#include "serial_client.h"

#include <algorithm>
#include <cstdlib>
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

// The output goes into a file, as some programs fail when it is a pipe.
ProgramResult runProgram(const std::wstring& commandLine) {
    const TemporaryFile output({});
    const int exitCode = _wsystem((L"\"" + commandLine + L" >\"" + output.name() + L"\" 2>&1\"").c_str());
    auto text = readFile(output.name());
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return {exitCode, text};
}

} // namespace zorvan::test
